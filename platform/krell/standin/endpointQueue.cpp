#include "platform/krell/standin/endpointQueue.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>
#include <utility>

#include "platform/krell/standin/bell.h"
#include "platform/krell/standin/descriptor.h"
#include "platform/krell/standin/libc.h"
#include "platform/krell/standin/peerLimiter.h"

namespace Krell {
namespace {

constexpr std::uint32_t kQueueMagic = 0x3251564B;
constexpr std::size_t kFirstPage = 4096;
constexpr std::uint64_t kRingSize = EndpointQueue::kLargestReceiveBuffer;
static_assert((kRingSize & (kRingSize - 1)) == 0);

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
  // Everybody reads and writes the first page: one call costs less than the two faults. Kernels before 5.14
  // refuse it.
  madvise(memory, kFirstPage, MADV_POPULATE_WRITE);
  return memory;
}

std::atomic<std::uint64_t> lastEndpoint{0};

[[noreturn]] void Fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

struct EndpointQueue::PacketHeader {
  std::uint32_t length;
  std::uint32_t cid;
  std::uint32_t port;
  std::uint32_t cartelId;
  PacketTarget target;
};

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
  // endpoint stays within its first page, which it shares with the fields here.
  std::uint64_t head;
  std::uint64_t tail;
  // How many rings have been begun; which one of them may not have been done, or 0. Its process can die
  // between the lock and the ring.
  std::uint64_t rings;
  std::atomic<std::uint64_t> openRing;
  unsigned char ring[kRingSize];
  // Never touched in an endpoint without a rate, which a guest's is.
  PeerLimiter peers;

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
// the queue is whole then; only a ring may be missing.
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

EndpointQueue::EndpointQueue(Shared* shared, int folder, const std::string& name)
    : shared_(shared), address_(folder, name), number_(++lastEndpoint) {}

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

// Requires: the lock is held.
std::uint64_t EndpointQueue::BeginRing() {
  shared_->openRing = ++shared_->rings;
  return shared_->rings;
}

// Requires: the lock is not held, as whoever wakes up takes it at once.
bool EndpointQueue::Ring(std::uint64_t number) {
  const bool received = Bell::OfThisProcess().Ring(number_, address_);
  shared_->openRing.compare_exchange_strong(number, 0);
  return received;
}

bool EndpointQueue::HasReceiver() const {
  if (IsClosed()) return false;
  const int probe = Libc::Socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (probe < 0) return true;
  const int result = Libc::Connect(probe, reinterpret_cast<const sockaddr*>(address_.bytes), address_.length);
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
  static_assert(sizeof header == kPacketOverhead);
  const Placed placed = Place(header, text, rate, now);
  // An endpoint that is rung shows by itself that its process has gone; where packets wait, ask.
  const bool received = placed.ring != 0 ? Ring(placed.ring) : !placed.behindOthers || HasLiveReceiver();
  if (received) return placed.fate;
  Clear();
  return PacketFate::NobodyReceives;
}

EndpointQueue::Placed EndpointQueue::Place(const PacketHeader& header, std::span<const iovec> text,
                                           std::int32_t rate, std::int64_t now) {
  const Lock lock(*shared_);
  if (IsClosed()) return {PacketFate::NobodyReceives};
  const std::uint64_t used = shared_->tail - shared_->head;
  const bool behindOthers = used != 0;
  if (used + sizeof header + header.length > static_cast<std::uint64_t>(shared_->receiveBuffer.load())) {
    return {PacketFate::NoRoom, behindOthers};
  }
  if (rate > 0 && !shared_->peers.Take(header.cid, rate, now)) return {PacketFate::AboveRate, behindOthers};
  if (!behindOthers) shared_->head = shared_->tail = 0;

  std::uint64_t end = shared_->tail;
  shared_->Write(end, &header, sizeof header);
  end += sizeof header;
  for (const iovec& part : text) {
    shared_->Write(end, part.iov_base, part.iov_len);
    end += part.iov_len;
  }
  // Who finds others waiting need not ring, unless one of them may not have.
  const bool rings = !behindOthers || shared_->openRing != 0 || lock.Recovered();
  const std::uint64_t ring = rings ? BeginRing() : 0;
  shared_->tail = end;
  return {PacketFate::Taken, behindOthers, ring};
}

bool EndpointQueue::HasLiveReceiver() const {
  return kill(shared_->receiver, 0) == 0 || errno != ESRCH || HasReceiver();
}

// For nobody: an endpoint that has lost its receiver never gets another one.
void EndpointQueue::Clear() {
  const Lock lock(*shared_);
  shared_->head = shared_->tail = 0;
}

std::chrono::nanoseconds EndpointQueue::RateDelay(std::uint32_t cid) const {
  const std::int32_t rate = shared_->rateLimit.load(std::memory_order_relaxed);
  return std::chrono::nanoseconds(rate > 0 ? shared_->peers.Delay(cid, rate, MonotonicNanoseconds()) : 0);
}

std::optional<TakenPacket> EndpointQueue::Receive(std::span<const iovec> buffer, int flags, int receiver) {
  bool hasByte = false;
  for (;;) {
    if (auto packet = Take(buffer, (flags & MSG_PEEK) != 0, receiver, hasByte)) return packet;
    // The wait, with its time limits and its interruptions, is that of the real socket.
    char byte = 0;
    if (Libc::Recv(receiver, &byte, 1, flags & MSG_DONTWAIT) < 0) return std::nullopt;
    hasByte = true;
  }
}

// Whoever has taken the byte and leaves packets sends another one after; whoever takes the last packet and
// hasn't the byte takes it too.
std::optional<TakenPacket> EndpointQueue::Take(std::span<const iovec> buffer, bool peek, int receiver,
                                               bool hasByte) {
  std::optional<TakenPacket> packet;
  std::uint64_t ring = 0;
  {
    const Lock lock(*shared_);
    packet = First(buffer, peek);
    const bool isEmpty = shared_->head == shared_->tail;
    if (isEmpty && packet && !hasByte) {
      char byte = 0;
      Libc::Recv(receiver, &byte, 1, MSG_DONTWAIT);
    }
    if (!isEmpty && hasByte) ring = BeginRing();
  }
  if (ring != 0) Ring(ring);
  return packet;
}

std::optional<TakenPacket> EndpointQueue::First(std::span<const iovec> buffer, bool peek) {
  if (shared_->head == shared_->tail) return std::nullopt;
  PacketHeader header;
  shared_->Read(shared_->head, &header, sizeof header);
  TakenPacket packet{{header.cid, header.port, true, header.cartelId}, header.target, header.length, 0};
  const std::uint64_t start = shared_->head + sizeof header;
  for (const iovec& part : buffer) {
    const std::size_t size = std::min<std::size_t>(part.iov_len, header.length - packet.copied);
    shared_->Read(start + packet.copied, part.iov_base, size);
    packet.copied += size;
  }
  if (!peek) shared_->head = start + header.length;
  return packet;
}

}  // namespace Krell
