#pragma once

#include <array>
#include <cstdint>

namespace Krell {

inline constexpr int kStandardVsockFamily = 40;
inline constexpr std::uint32_t kAnyCid = 0xFFFFFFFFU;
inline constexpr std::uint32_t kAnyPort = 0xFFFFFFFFU;
inline constexpr std::uint32_t kHostCid = 2;

// Options at the vsock level, whose number is the address family itself.
inline constexpr int kOptionCartelId = 3;
inline constexpr int kOptionPeerRateLimit = 9;
inline constexpr int kOptionPeerPrivilege = 10;

// Requests of the vsock device.
inline constexpr unsigned long kIoctlAddressFamily = 1976;
inline constexpr unsigned long kIoctlUuidToCid = 1991;
inline constexpr const char* kVsockDevice = "/dev/vsock";
inline constexpr const char* kVsockDeviceAlternative = "/calyx/devices/char/vsock/vsock";

// The kernel's socket address, in host byte order.
struct VsockAddress {
  std::uint16_t family = 0;
  std::uint16_t reserved = 0;
  std::uint32_t port = kAnyPort;
  std::uint32_t cid = kAnyCid;
  std::uint32_t zero = 0;
};
static_assert(sizeof(VsockAddress) == 16);

// Argument of kIoctlUuidToCid: the kernel writes the cid of the running VM with this BIOS uuid.
struct UuidToCidRequest {
  std::uint32_t cid = kAnyCid;
  std::uint32_t reserved = 0;
  std::array<char, 128> uuid = {};
};
static_assert(sizeof(UuidToCidRequest) == 136);

}  // namespace Krell
