#include "framework/transport/request/numberParser.h"

#include <cerrno>
#include <cstdlib>

namespace Mirel {

const char* ToolsCategory::name() const noexcept {
  return "Mirel Tools Error";
}

std::string ToolsCategory::message(int code) const {
  switch (code) {
    case static_cast<int>(ToolsError::NamedArgumentNotFound):
      return "Named argument not found.";
    case static_cast<int>(ToolsError::EmptyNamedSpecifier):
      return "Empty Named specifier found.";
    default:
      return "tools error";
  }
}

const std::error_category& GetToolsCategory() noexcept {
  static const ToolsCategory instance;
  return instance;
}

std::uint64_t ParseNumber(std::string_view text, std::error_code& ec) {
  if (text.empty()) {
    ec = ToolsError::NamedArgumentNotFound;
    return 0;
  }
  const std::string terminated(text);
  errno = 0;
  char* end = nullptr;
  const unsigned long number = std::strtoul(terminated.c_str(), &end, 0);
  ec = Detail::CheckConvert(end, terminated.c_str() + terminated.size());
  return ec ? 0 : number;
}

std::error_code Detail::CheckConvert(const char* end, const char* expectedEnd) {
  if (errno == ERANGE) return ToolsError::EmptyNamedSpecifier;
  if (errno != 0 || end != expectedEnd) return ToolsError::NotANumber;
  return {};
}

}  // namespace Mirel
