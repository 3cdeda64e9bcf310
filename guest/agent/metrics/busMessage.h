#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace GuestAgent {

// Messages of D-Bus, as far as a question for one property takes them. They are in this machine's byte order,
// and so has to be the answer of a service on the same machine.

struct BusMethod {
  std::string_view destination;
  std::string_view path;
  std::string_view interface;
  std::string_view member;
};

// A method call whose arguments are all strings. It doesn't start the destination.
std::string BusCall(std::uint32_t serial, const BusMethod& method,
                    std::initializer_list<std::string_view> arguments);

inline constexpr std::size_t kBusMessageStart = 16;
inline constexpr std::size_t kMaxBusMessage = 8 << 10;

// The size of the whole message that begins with these kBusMessageStart bytes; nothing if they are faulty, or
// promise more than kMaxBusMessage.
std::optional<std::size_t> BusMessageSize(std::string_view start);

struct BusReply {
  std::uint32_t serial = 0;  // of the call; 0 if it is no reply
  bool isError = false;
  std::string_view body;
};

// Requires: the message has the size that BusMessageSize gives. Nothing if it is faulty.
std::optional<BusReply> ReadBusReply(std::string_view message);

// What the body is if it holds one variant, of an unsigned 32-bit number.
std::optional<std::uint32_t> ReadUnsignedVariant(std::string_view body);

}  // namespace GuestAgent
