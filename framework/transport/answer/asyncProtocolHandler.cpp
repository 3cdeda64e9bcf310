#include "framework/transport/answer/asyncProtocolHandler.h"

namespace Mirel::Provider {

const char* ProtocolCategory::name() const noexcept {
  return "Mirel Protocol Error";
}

std::string ProtocolCategory::message(int code) const {
  return code == static_cast<int>(ProtocolError::OperationMismatch)
             ? "Mismatching operation identifier in HTTP header and payload"
             : "protocol error";
}

const std::error_category& GetProtocolCategory() noexcept {
  static const ProtocolCategory instance;
  return instance;
}

}  // namespace Mirel::Provider
