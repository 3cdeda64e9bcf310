#include "framework/transport/connection/asioCategory.h"

namespace Mirel::Asio {

const char* AsioCategory::name() const noexcept {
  return "Mirel Asio Error";
}

std::string AsioCategory::message(int code) const {
  return code == static_cast<int>(AsioError::BufferMaxLength) ? "Buffer max len error" : "asio error";
}

const std::error_category& GetAsioCategory() noexcept {
  static const AsioCategory instance;
  return instance;
}

}  // namespace Mirel::Asio
