#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"

namespace Com::Tessaly::Mirel::Std::Errors {

// The standard kinds of errors: the number is for programs; `raw` is the text as it came over the wire, if it
// did. The numbers belong to the wire and never change.
struct ErrorType {
  static constexpr std::uint32_t kError = 0;
  static constexpr std::uint32_t kInternalServerError = 6;
  static constexpr std::uint32_t kInvalidArgument = 7;
  static constexpr std::uint32_t kNotFound = 12;
  static constexpr std::uint32_t kOperationNotFound = 13;
  static constexpr std::uint32_t kUnauthenticated = 20;
  static constexpr std::uint32_t kUnauthorized = 21;
  static constexpr std::uint32_t kUnexpectedInput = 22;
  static constexpr std::uint32_t kUnsupported = 23;

  // The printable name, such as "INVALID_ARGUMENT": the raw text if there is one.
  std::string ToString() const;

  std::uint32_t value = 0;
  std::string raw;
};

}  // namespace Com::Tessaly::Mirel::Std::Errors

namespace Mirel::Data {

// The common part of all typed errors, before their conversion to an error value.
struct NativeError {
  NativeError(std::string errorName, std::uint32_t type) : name(std::move(errorName)), errorType{type, {}} {}

  std::string name;
  std::vector<DataValuePtr> messages;
  DataValuePtr data;
  Com::Tessaly::Mirel::Std::Errors::ErrorType errorType;
};

}  // namespace Mirel::Data

// The standard errors of the framework. Each becomes an error value of its name with the fields "messages",
// "data" and "error_type".
namespace Com::Tessaly::Mirel::Std::Errors {

using ::Mirel::Data::NativeError;

// An argument has the right form, but a value that the service doesn't take.
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

// The arguments don't have the form that the operation takes.
struct UnexpectedInput : NativeError {
  UnexpectedInput()
      : NativeError("com.tessaly.mirel.std.errors.unexpected_input", ErrorType::kUnexpectedInput) {}
};

struct Unsupported : NativeError {
  Unsupported() : NativeError("com.tessaly.mirel.std.errors.unsupported", ErrorType::kUnsupported) {}
};

}  // namespace Com::Tessaly::Mirel::Std::Errors
