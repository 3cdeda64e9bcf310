#include "fleet/exporter/originGuard.h"

#include <strings.h>

#include <algorithm>
#include <utility>

namespace Fleet {
namespace {

bool IsSameName(std::string_view one, std::string_view other) {
  return one.size() == other.size() && strncasecmp(one.data(), other.data(), one.size()) == 0;
}

// Without the port; empty if what should be the port is none.
std::string_view NameOf(std::string_view host) {
  const auto bracket = host.find(']');
  const auto colon = host.find(':', bracket == std::string_view::npos ? 0 : bracket);
  if (colon == std::string_view::npos) return host;
  const auto port = host.substr(colon + 1);
  const bool isPort = std::all_of(port.begin(), port.end(), [](char c) { return c >= '0' && c <= '9'; });
  return isPort ? host.substr(0, colon) : std::string_view();
}

}  // namespace

OriginGuard::OriginGuard(std::vector<std::string> names) : names_(std::move(names)) {}

bool OriginGuard::IsForUs(const Request& request) const {
  const auto host = request.Header("Host");
  if (!host) return false;
  const auto name = NameOf(*host);
  return std::any_of(names_.begin(), names_.end(),
                     [name](const auto& other) { return IsSameName(name, other); });
}

bool OriginGuard::IsFromOurPage(const Request& request) {
  const auto host = request.Header("Host");
  const auto origin = request.Header("Origin");
  if (!host || !origin || IsFromForeignPage(request)) return false;
  const std::string name(*host);
  return IsSameName(*origin, "http://" + name) || IsSameName(*origin, "https://" + name);
}

bool OriginGuard::IsFromForeignPage(const Request& request) {
  const auto site = request.Header("Sec-Fetch-Site");
  // "none": somebody has typed the address.
  return !site || !(site->empty() || *site == "same-origin" || *site == "none");
}

}  // namespace Fleet
