#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"

namespace Com::Tessaly::Mirel::Std::Errors {

// The standard error-type enumeration: the number for programs, the raw text as it came over the wire, if it
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
