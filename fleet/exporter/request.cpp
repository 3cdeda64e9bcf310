#include "fleet/exporter/request.h"

#include <strings.h>

namespace Fleet {
namespace {

std::string_view FirstOf(const Fields& fields, std::string_view wanted) {
  for (const auto& [name, value] : fields) {
    if (name == wanted) return value;
  }
  return {};
}

}  // namespace

std::optional<std::string_view> Request::Header(std::string_view name) const {
  const std::string* found = nullptr;
  for (const auto& [key, value] : headers) {
    if (key.size() != name.size() || strncasecmp(key.data(), name.data(), name.size()) != 0) continue;
    if (found != nullptr) return std::nullopt;
    found = &value;
  }
  return found == nullptr ? std::string_view() : std::string_view(*found);
}

std::string_view Request::Query(std::string_view name) const {
  return FirstOf(query, name);
}

std::string_view Request::Cookie(std::string_view name) const {
  return FirstOf(cookies, name);
}

}  // namespace Fleet
