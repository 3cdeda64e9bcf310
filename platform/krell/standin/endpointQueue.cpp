#include "platform/krell/standin/endpointQueue.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/corvane/mutex.h"
#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/libc.h"
#include "platform/krell/standin/peerLimiter.h"

namespace Krell {
namespace {

constexpr std::uint32_t kQueueMagic = 0x3151564B;
constexpr std::uint64_t kRingSize = EndpointQueue::kLargestReceiveBuffer;
static_assert((kRingSize & (kRingSize - 1)) == 0);

struct PacketHeader {
  std::uint32_t length;
  std::uint32_t cid;
  std::uint32_t port;
  std::uint32_t cartelId;
  PacketTarget target;
};
static_assert(sizeof(PacketHeader) == EndpointQueue::kPacketOverhead);

std::int64_t MonotonicNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

// Null with errno on a failure.
void* Map(int fd, std::size_t size) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) return nullptr;
  // Reading ahead would give room to what is never used, for each of thousands of peers.
  madvise(memory, size, MADV_RANDOM);
  return memory;
}

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

// The socket that rings the receivers. What it has sent and nobody has read is charged to it, and guests
// need not read: when it can send no more, a fresh one takes its place.
class Bell {
 public:
  // False if nobody receives at this address. An endpoint that takes no more has been rung.
  bool Ring(const EndpointAddress& address) {
    const Corvane::MutexLock guard(mutex_);
    for (int tries = 0; tries < 2; ++tries) {
      if (Libc::SendTo(fd_, "", 1, MSG_DONTWAIT | MSG_NOSIGNAL,
                       reinterpret_cast<const sockaddr*>(address.bytes), address.length) >= 0) {
        return true;
      }
      if (errno == ECONNREFUSED || errno == ENOENT) return false;
      Renew();
    }
    return true;
  }

 private:
  void Renew() CORVANE_REQUIRES(mutex_) {
    if (fd_ >= 0) Libc::Close(fd_);
    fd_ = Libc::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  }

  Corvane::Mutex mutex_;
  int fd_ CORVANE_GUARDED_BY(mutex_) = -1;
};

// Never destroyed, as packets are sent up to the end of the process.
Bell& GetBell() {
  static auto& bell = *new Bell;
  return bell;
}

}  // namespace

// The file is sparse: what is never used of the peers and of the ring takes no room.
struct EndpointQueue::Shared {
  std::uint32_t magic;
  std::uint32_t cartelId;
  pid_t receiver;
  std::atomic<bool> closed;
  std::atomic<std::int32_t> receiveBuffer;
  std::atomic<std::int32_t> rateLimit;
  std::atomic<std::int32_t> privilegeMode;
  pthread_mutex_t mutex;
  // Byte positions, counted on without end; both go back to 0 when the queue runs empty, so that a quiet
  // endpoint stays within its first page.
  std::uint64_t head;
  std::uint64_t tail;
  PeerLimiter peers;
  alignas(4096) unsigned char ring[kRingSize];

  void Write(std::uint64_t position, const void* data, std::size_t size) {
    if (size == 0) return;
    const std::uint64_t at = position & (kRingSize - 1);
    const std::size_t first = std::min<std::size_t>(size, kRingSize - at);
    std::memcpy(ring + at, data, first);
    std::memcpy(ring, static_cast<const unsigned char*>(data) + first, size - first);
  }

  void Read(std::uint64_t position, void* data, std::size_t size) const {
    if (size == 0) return;
    const std::uint64_t at = position & (kRingSize - 1);
    const std::size_t first = std::min<std::size_t>(size, kRingSize - at);
    std::memcpy(data, ring + at, first);
    std::memcpy(static_cast<unsigned char*>(data) + first, ring, size - first);
  }
};

// A process may die while it holds the lock. Head and tail are each moved by one store, after the bytes, so
// the queue is whole then; only the ring may be missing.
class EndpointQueue::Lock {
 public:
  explicit Lock(Shared& shared) : shared_(shared) {
    const int result = pthread_mutex_lock(&shared_.mutex);
    if (result == EOWNERDEAD) {
      pthread_mutex_consistent(&shared_.mutex);
      recovered_ = true;
    } else if (result != 0) {
      throw std::system_error(result, std::generic_category(), "endpoint lock");
    }
  }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  ~Lock() { pthread_mutex_unlock(&shared_.mutex); }
  bool Recovered() const { return recovered_; }

 private:
  Shared& shared_;
  bool recovered_ = false;
};

EndpointAddress::EndpointAddress(int folder, const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + name;
  std::memcpy(address.sun_path, path.data(), std::min(path.size(), sizeof address.sun_path - 1));
  static_assert(sizeof address == sizeof bytes);
  std::memcpy(bytes, &address, sizeof bytes);
  length = static_cast<unsigned int>(offsetof(sockaddr_un, sun_path) + path.size() + 1);
}

std::string EndpointQueue::Name(std::uint32_t cid, std::uint32_t port) {
  return std::to_string(cid) + "." + std::to_string(port);
}

std::shared_ptr<EndpointQueue> EndpointQueue::Create(int folder, const std::string& name,
                                                     std::uint32_t cartelId) {
  const std::string file = name + ".queue";
  const std::string temporary = file + ".new";
  const Descriptor fd(openat(folder, temporary.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (fd.Get() < 0) Fail("endpoint file");
  const bool sized = ftruncate(fd.Get(), sizeof(Shared)) == 0;
  auto* shared = static_cast<Shared*>(sized ? Map(fd.Get(), sizeof(Shared)) : nullptr);
  if (shared == nullptr) Fail("endpoint file");
  std::shared_ptr<EndpointQueue> queue(new EndpointQueue(shared, folder, name));
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_setpshared(&attributes, PTHREAD_PROCESS_SHARED);
  pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
  pthread_mutex_init(&shared->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
  shared->magic = kQueueMagic;
  shared->cartelId = cartelId;
  shared->receiver = getpid();
  shared->receiveBuffer = kDefaultReceiveBuffer;
  if (renameat(folder, temporary.c_str(), folder, file.c_str()) != 0) Fail("endpoint file");
  return queue;
}

std::shared_ptr<EndpointQueue> EndpointQueue::Open(int folder, const std::string& name) {
  const Descriptor fd(openat(folder, (name + ".queue").c_str(), O_RDWR | O_CLOEXEC));
  if (fd.Get() < 0) return nullptr;
  struct stat status {};
  const bool whole = fstat(fd.Get(), &status) == 0 && status.st_size == sizeof(Shared);
  auto* shared = static_cast<Shared*>(whole ? Map(fd.Get(), sizeof(Shared)) : nullptr);
  if (shared == nullptr) return nullptr;
  std::shared_ptr<EndpointQueue> queue(new EndpointQueue(shared, folder, name));
  return queue->shared_->magic == kQueueMagic ? queue : nullptr;
}

EndpointQueue::EndpointQueue(Shared* shared, int folder, std::string name)
    : shared_(shared), folder_(folder), name_(std::move(name)) {}

EndpointQueue::~EndpointQueue() {
  munmap(shared_, sizeof(Shared));
}

bool EndpointQueue::IsClosed() const {
  return shared_->closed.load(std::memory_order_acquire);
}
void EndpointQueue::Close() {
  shared_->closed.store(true, std::memory_order_release);
}
std::uint32_t EndpointQueue::CartelId() const {
  return shared_->cartelId;
}
void EndpointQueue::SetReceiveBuffer(std::int32_t bytes) {
  shared_->receiveBuffer = bytes;
}
void EndpointQueue::SetRateLimit(std::int32_t packetsPerSecond) {
  shared_->rateLimit = packetsPerSecond;
}
void EndpointQueue::SetPrivilegeMode(std::int32_t mode) {
  shared_->privilegeMode = mode;
}

bool EndpointQueue::Ring() const {
  return GetBell().Ring(EndpointAddress(folder_, name_));
}

bool EndpointQueue::HasReceiver() const {
  if (IsClosed()) return false;
  const int probe = Libc::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return true;
  const EndpointAddress address(folder_, name_);
  const int result = Libc::Connect(probe, reinterpret_cast<const sockaddr*>(address.bytes), address.length);
  Libc::Close(probe);
  return result == 0;
}

PacketFate EndpointQueue::Put(const PacketSource& source, std::span<const iovec> text,
                              const PacketTarget& target) {
  if (IsClosed()) return PacketFate::NobodyReceives;
  if (!source.privileged && shared_->privilegeMode.load(std::memory_order_relaxed) != 0) {
    return PacketFate::NotPrivileged;
  }
  const std::int32_t rate = shared_->rateLimit.load(std::memory_order_relaxed);
  const std::int64_t now = rate > 0 ? MonotonicNanoseconds() : 0;
  if (rate > 0 && shared_->peers.Delay(source.cid, rate, now) > 0) return PacketFate::AboveRate;

  std::size_t length = 0;
  for (const iovec& part : text) length += part.iov_len;
  const PacketHeader header{static_cast<std::uint32_t>(length), source.cid, source.port, source.cartelId,
                            target};

  const Lock lock(*shared_);
  if (IsClosed()) return PacketFate::NobodyReceives;
  const std::uint64_t used = shared_->tail - shared_->head;
  // An endpoint that is rung shows by itself that its process has gone; where packets wait, ask.
  if (used != 0 && kill(shared_->receiver, 0) != 0 && errno == ESRCH && !HasReceiver()) {
    return PacketFate::NobodyReceives;
  }
  if (used + sizeof header + length > static_cast<std::uint64_t>(shared_->receiveBuffer.load())) {
    return PacketFate::NoRoom;
  }
  if (rate > 0 && !shared_->peers.Take(source.cid, rate, now)) return PacketFate::AboveRate;
  if (used == 0) shared_->head = shared_->tail = 0;

  std::uint64_t end = shared_->tail;
  shared_->Write(end, &header, sizeof header);
  end += sizeof header;
  for (const iovec& part : text) {
    shared_->Write(end, part.iov_base, part.iov_len);
    end += part.iov_len;
  }
  shared_->tail = end;
  if ((used == 0 || lock.Recovered()) && !Ring()) {
    shared_->head = shared_->tail = 0;
    return PacketFate::NobodyReceives;
  }
  return PacketFate::Taken;
}

std::chrono::nanoseconds EndpointQueue::RateDelay(std::uint32_t cid) const {
  const std::int32_t rate = shared_->rateLimit.load(std::memory_order_relaxed);
  return std::chrono::nanoseconds(rate > 0 ? shared_->peers.Delay(cid, rate, MonotonicNanoseconds()) : 0);
}

std::optional<TakenPacket> EndpointQueue::Take(std::span<const iovec> buffer, bool peek, int receiver) {
  const Lock lock(*shared_);
  std::optional<TakenPacket> packet;
  if (shared_->head != shared_->tail) {
    PacketHeader header;
    shared_->Read(shared_->head, &header, sizeof header);
    packet = TakenPacket{{header.cid, header.port, true, header.cartelId}, header.target, header.length, 0};
    const std::uint64_t start = shared_->head + sizeof header;
    for (const iovec& part : buffer) {
      const std::size_t size = std::min<std::size_t>(part.iov_len, header.length - packet->copied);
      shared_->Read(start + packet->copied, part.iov_base, size);
      packet->copied += size;
    }
    if (!peek) shared_->head = start + header.length;
  }
  if (shared_->head == shared_->tail) {
    char byte = 0;
    while (Libc::Recv(receiver, &byte, 1, MSG_DONTWAIT) >= 0) {
    }
  }
  return packet;
}

}  // namespace Krell
