#include "framework/transport/request/localCaller.h"

#include <algorithm>
#include <boost/asio/ip/address.hpp>
#include <boost/system/error_code.hpp>
#include <string>

#include "framework/core/text.h"

namespace Mirel::Transport::Http {
namespace {

// Calls the predicate with each header until it gives true.
template <typename Predicate>
bool AnyHeader(HeaderRange& headers, Predicate predicate) {
  for (headers.Reset(); !headers.AtEnd(); headers.Advance()) {
    if (predicate(headers.Current().Name(), headers.Current().Value())) return true;
  }
  return false;
}

bool IsPort(std::string_view text) {
  return text.size() <= 5 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool IsLoopbackName(std::string_view name) {
  if (StrICmp(name, "localhost") || name == "[::1]") return true;
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address_v4(std::string(name), error);
  return !error && address.is_loopback();
}

}  // namespace

bool IsLocalCaller(HeaderRange& headers) {
  return !AnyHeader(headers, [](std::string_view name, std::string_view value) {
    return name == "origin" || (name == "host" && !IsLoopbackHost(value));
  });
}

bool IsLoopbackHost(std::string_view host) {
  const auto colon = host.rfind(':');
  if (colon == std::string_view::npos || host.ends_with(']')) return IsLoopbackName(host);
  return IsPort(host.substr(colon + 1)) && IsLoopbackName(host.substr(0, colon));
}

bool HasCredentials(HeaderRange& headers) {
  return AnyHeader(headers, [](std::string_view name, std::string_view) { return name == "authorization"; });
}

}  // namespace Mirel::Transport::Http
