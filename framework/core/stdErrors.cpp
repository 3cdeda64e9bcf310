#include "framework/core/stdErrors.h"

#include <array>
#include <string_view>

namespace Com::Tessaly::Mirel::Std::Errors {
namespace {

struct ErrorTypeName {
  std::uint32_t value;
  std::string_view name;
};

constexpr std::array kErrorTypeNames = {
    ErrorTypeName{ErrorType::kError, "ERROR"},
    ErrorTypeName{ErrorType::kInternalServerError, "INTERNAL_SERVER_ERROR"},
    ErrorTypeName{ErrorType::kInvalidArgument, "INVALID_ARGUMENT"},
    ErrorTypeName{ErrorType::kNotFound, "NOT_FOUND"},
    ErrorTypeName{ErrorType::kOperationNotFound, "OPERATION_NOT_FOUND"},
    ErrorTypeName{ErrorType::kUnauthenticated, "UNAUTHENTICATED"},
    ErrorTypeName{ErrorType::kUnauthorized, "UNAUTHORIZED"},
    ErrorTypeName{ErrorType::kUnexpectedInput, "UNEXPECTED_INPUT"},
    ErrorTypeName{ErrorType::kUnsupported, "UNSUPPORTED"},
};

}  // namespace

std::string ErrorType::ToString() const {
  if (!raw.empty()) return raw;
  for (const auto& entry : kErrorTypeNames) {
    if (entry.value == value) return std::string(entry.name);
  }
  return std::to_string(value);
}

}  // namespace Com::Tessaly::Mirel::Std::Errors
