#pragma once

#include <optional>
#include <string>

#include "framework/core/nativeError.h"

// The standard errors of the framework. Each becomes an error value of its name with the fields "messages",
// "data" and "error_type".
namespace Com::Tessaly::Mirel::Std::Errors {

using ::Mirel::Data::NativeError;

// An argument has the right form, but a value that the service does not take.
struct InvalidArgument : NativeError {
  InvalidArgument()
      : NativeError("com.tessaly.mirel.std.errors.invalid_argument", ErrorType::kInvalidArgument) {}
};

struct InternalServerError : NativeError {
  InternalServerError()
      : NativeError("com.tessaly.mirel.std.errors.internal_server_error", ErrorType::kInternalServerError) {}
};

struct NotFound : NativeError {
  NotFound() : NativeError("com.tessaly.mirel.std.errors.not_found", ErrorType::kNotFound) {}
};

struct OperationNotFound : NativeError {
  OperationNotFound()
      : NativeError("com.tessaly.mirel.std.errors.operation_not_found", ErrorType::kOperationNotFound) {}
};

// The caller is unknown, or its credentials were refused.
struct Unauthenticated : NativeError {
  Unauthenticated()
      : NativeError("com.tessaly.mirel.std.errors.unauthenticated", ErrorType::kUnauthenticated) {}

  // How to authenticate, in the form of a WWW-Authenticate header (RFC 9110, 11.6.1).
  std::optional<std::string> challenge;
};

// The caller is known, and may not do this.
struct Unauthorized : NativeError {
  Unauthorized() : NativeError("com.tessaly.mirel.std.errors.unauthorized", ErrorType::kUnauthorized) {}
};

// The arguments do not have the form that the operation takes.
struct UnexpectedInput : NativeError {
  UnexpectedInput()
      : NativeError("com.tessaly.mirel.std.errors.unexpected_input", ErrorType::kUnexpectedInput) {}
};

struct Unsupported : NativeError {
  Unsupported() : NativeError("com.tessaly.mirel.std.errors.unsupported", ErrorType::kUnsupported) {}
};

}  // namespace Com::Tessaly::Mirel::Std::Errors
