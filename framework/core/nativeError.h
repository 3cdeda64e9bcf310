#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/dataValue.h"

namespace Com::Tessaly::Mirel::Std::Errors {

/// The standard error-type enumeration: the number for programs, the raw text as it came over the wire, if it
/// did.
struct ErrorType {
  std::uint32_t value = 0;
  std::string raw;
};

}  // namespace Com::Tessaly::Mirel::Std::Errors

namespace Mirel::Data {

/// The common part of all typed errors, before their conversion to an error value.
struct NativeError {
  NativeError(std::string errorName, std::uint32_t type) : name(std::move(errorName)), errorType{type, {}} {}

  std::string name;
  std::vector<DataValuePtr> messages;
  DataValuePtr data;
  Com::Tessaly::Mirel::Std::Errors::ErrorType errorType;
};

}  // namespace Mirel::Data
