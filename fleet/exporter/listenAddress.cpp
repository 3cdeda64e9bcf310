#include "fleet/exporter/listenAddress.h"

#include <arpa/inet.h>

#include <charconv>
#include <cstdint>
#include <stdexcept>

namespace Fleet {
namespace {

std::uint16_t ParsePort(std::string_view text) {
  std::uint16_t port = 0;
  const auto* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, port);
  if (error != std::errc() || rest != end) throw std::invalid_argument("not a port: " + std::string(text));
  return port;
}

}  // namespace

ListenAddress::ListenAddress(std::string_view text) {
  const auto colon = text.rfind(':');
  if (colon == std::string_view::npos) throw std::invalid_argument("an address to listen at is ADDRESS:PORT");
  const auto port = htons(ParsePort(text.substr(colon + 1)));
  host_ = text.substr(0, colon);
  auto* const v4 = reinterpret_cast<sockaddr_in*>(&address_);
  auto* const v6 = reinterpret_cast<sockaddr_in6*>(&address_);
  if (inet_pton(AF_INET, host_.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = port;
    return;
  }
  const bool isBracketed = host_.size() > 2 && host_.front() == '[' && host_.back() == ']';
  if (!isBracketed || inet_pton(AF_INET6, host_.substr(1, host_.size() - 2).c_str(), &v6->sin6_addr) != 1) {
    throw std::invalid_argument("not an address to listen at: " + std::string(text));
  }
  v6->sin6_family = AF_INET6;
  v6->sin6_port = port;
}

bool ListenAddress::IsLoopback() const {
  if (IsV6()) return IN6_IS_ADDR_LOOPBACK(&reinterpret_cast<const sockaddr_in6*>(&address_)->sin6_addr) != 0;
  return ntohl(reinterpret_cast<const sockaddr_in*>(&address_)->sin_addr.s_addr) >> 24U == IN_LOOPBACKNET;
}

}  // namespace Fleet
