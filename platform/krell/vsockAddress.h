#pragma once

#include <cstdint>

namespace Krell {

constexpr int standardVsockFamily = 40;
constexpr std::uint32_t anyCid = 0xFFFFFFFFU;
constexpr std::uint32_t anyPort = 0xFFFFFFFFU;
constexpr std::uint32_t hostCid = 2;

// Options at the vsock level, whose number is the address family itself.
constexpr int optionCartelId = 3;
constexpr int optionPeerRateLimit = 9;
constexpr int optionPeerPrivilege = 10;

// Requests of the vsock device.
constexpr unsigned long ioctlAddressFamily = 1976;
constexpr unsigned long ioctlUuidToCid = 1991;
constexpr const char* vsockDevice = "/dev/vsock";
constexpr const char* vsockDeviceAlternative = "/calyx/devices/char/vsock/vsock";

// The kernel's socket address, in host byte order.
struct VsockAddress {
  std::uint16_t family = 0;
  std::uint16_t reserved = 0;
  std::uint32_t port = anyPort;
  std::uint32_t cid = anyCid;
  std::uint32_t zero = 0;
};
static_assert(sizeof(VsockAddress) == 16);

// Argument of ioctlUuidToCid: the kernel writes the cid of the running VM with this BIOS uuid.
struct UuidToCidRequest {
  std::uint32_t cid = anyCid;
  std::uint32_t reserved = 0;
  char uuid[128] = {};
};
static_assert(sizeof(UuidToCidRequest) == 136);

}  // namespace Krell
