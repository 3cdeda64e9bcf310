#pragma once

#include <sys/uio.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "platform/krell/standin/endpointAddress.h"
#include "platform/krell/vsockAddress.h"

namespace Krell {

// Who sends, as the kernel knows it.
struct PacketSource {
  std::uint32_t cid = kHostCid;
  std::uint32_t port = kAnyPort;
  bool privileged = true;
  // Of the VM at the guest's end, which sends the packet or is to have it: its cid can be another one's by
  // the time that the packet is taken.
  std::uint32_t cartelId = 0;
};

// To whom a packet goes, where one endpoint takes the packets of several.
struct PacketTarget {
  std::uint32_t cid = kAnyCid;
  std::uint32_t port = kAnyPort;
};

struct TakenPacket {
  PacketSource source;
  PacketTarget target;
  std::size_t length = 0;
  std::size_t copied = 0;
};

// What becomes of a packet.
enum class PacketFate {
  Taken,
  NotPrivileged,
  AboveRate,
  NoRoom,
  NobodyReceives,
};

// A bound endpoint: the packets that wait for it, the receiver's options and the counters of its peers, in
// a file that sender and receiver map. Beside it is an AF_UNIX socket of the same name, the
// descriptor that the receiving program holds: a byte waits in it as long as packets wait here, so that
// blocking, poll and epoll are the kernel's own. The packets themselves can't go through it, as it
// counts them (/proc/sys/net/unix/max_dgram_qlen) where a receive buffer counts bytes.
// The byte follows its packet, outside of the lock. It can be late, and wake a receiver that finds nothing; a
// packet never waits without one, but where its sender was killed in between: then until the next packet.
// Objects may be used by any thread.
class EndpointQueue {
 public:
  // What the receive buffer is charged for a packet beside its bytes.
  static constexpr std::size_t kPacketOverhead = 24;
  static constexpr std::int32_t kDefaultReceiveBuffer = 262144;
  static constexpr std::int32_t kLargestReceiveBuffer = 4194304;
  static constexpr std::int32_t kSmallestReceiveBuffer = 256;

  // Of the endpoint that is bound to this address, in the endpoints' folder.
  static std::string Name(std::uint32_t cid, std::uint32_t port);

  // The receiver's side, for a socket that has this name already; folder is the descriptor of the endpoints'
  // folder. Throws std::system_error.
  static std::shared_ptr<EndpointQueue> Create(int folder, const std::string& name, std::uint32_t cartelId);
  // The sender's side. Null if there is none of this name.
  static std::shared_ptr<EndpointQueue> Open(int folder, const std::string& name);
  EndpointQueue(const EndpointQueue&) = delete;
  EndpointQueue& operator=(const EndpointQueue&) = delete;
  ~EndpointQueue();

  // A packet that is not taken is dropped. A datagram's sender hears of that only if nobody receives here.
  PacketFate Put(const PacketSource& source, std::span<const iovec> text, const PacketTarget& target = {});
  // How long until a packet of this peer would not be above its rate.
  std::chrono::nanoseconds RateDelay(std::uint32_t cid) const;
  // The next packet, or nothing with errno; receiver is the receiving descriptor, and the flags are recv's.
  // Waits unless MSG_DONTWAIT or the descriptor tell otherwise; with MSG_PEEK the packet stays.
  std::optional<TakenPacket> Receive(std::span<const iovec> buffer, int flags, int receiver);

  bool IsClosed() const;
  // Whether a live process receives here.
  bool HasReceiver() const;
  void Close();

  // Cartel id of the VM that the endpoint belongs to; 0 for the host's own.
  std::uint32_t CartelId() const;
  void SetReceiveBuffer(std::int32_t bytes);
  void SetRateLimit(std::int32_t packetsPerSecond);
  void SetPrivilegeMode(std::int32_t mode);

 private:
  struct Shared;
  struct PacketHeader;
  class Lock;

  struct Placed {
    PacketFate fate;
    bool behindOthers = false;
    // The ring that has to follow, or 0.
    std::uint64_t ring = 0;
  };

  EndpointQueue(Shared* shared, int folder, const std::string& name);
  Placed Place(const PacketHeader& header, std::span<const iovec> text, std::int32_t rate, std::int64_t now);
  std::optional<TakenPacket> Take(std::span<const iovec> buffer, bool peek, int receiver, bool hasByte);
  std::optional<TakenPacket> First(std::span<const iovec> buffer, bool peek);
  std::uint64_t BeginRing();
  bool Ring(std::uint64_t number);
  bool HasLiveReceiver() const;
  void Clear();

  Shared* const shared_;
  const EndpointAddress address_;
  // No other object's of this process, before or after: two can have the same address.
  const std::uint64_t number_;
};

}  // namespace Krell
