#include "guest/agent/metrics/failedUnits.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "guest/agent/metrics/busMessage.h"

namespace GuestAgent {
namespace {

using std::chrono::steady_clock;

constexpr unsigned kLongestPause = 20;
// What others may send to us besides the reply: signals, such as that of our own name.
constexpr int kMaxMessages = 16;
constexpr std::size_t kMaxLine = 256;

constexpr BusMethod kHello{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello"};
constexpr BusMethod kGet{"org.freedesktop.systemd1", "/org/freedesktop/systemd1",
                         "org.freedesktop.DBus.Properties", "Get"};

// The kernel tells the bus who we are; we say the same, in the digits' ASCII codes.
std::string AuthenticationLine() {
  std::string line("\0AUTH EXTERNAL ", 15);
  for (const char digit : std::to_string(geteuid())) line.append("3").push_back(digit);
  return line.append("\r\n");
}

int ConnectSocket(const std::string& path) {
  sockaddr_un address{};
  if (path.size() >= sizeof address.sun_path) return -1;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  Corvane::FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const auto* generic = reinterpret_cast<const sockaddr*>(&address);
  return connect(socket.Get(), generic, sizeof address) == 0 ? socket.Release() : -1;
}

bool WaitReadable(int descriptor, steady_clock::time_point deadline) {
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now()).count();
    if (left <= 0) return false;
    pollfd entry{descriptor, POLLIN, 0};
    const int ready = poll(&entry, 1, static_cast<int>(left));
    if (ready > 0) return true;
    if (ready < 0 && errno != EINTR) return false;
  }
}

}  // namespace

FailedUnits::FailedUnits(std::string bus, std::chrono::milliseconds patience)
    : bus_(std::move(bus)), patience_(patience) {}

std::optional<std::uint32_t> FailedUnits::Count() {
  if (pause_ > 0) {
    --pause_;
    return std::nullopt;
  }
  const auto count = Ask();
  if (count) {
    faults_ = 0;
    return count;
  }
  connection_ = {};
  pause_ = std::min(1U << std::min(faults_++, 8U), kLongestPause);
  return std::nullopt;
}

std::optional<std::uint32_t> FailedUnits::Ask() {
  const auto deadline = steady_clock::now() + patience_;
  if (!connection_.IsOpen() && !Connect(deadline)) return std::nullopt;
  const auto question = BusCall(++serial_, kGet, {"org.freedesktop.systemd1.Manager", "NFailedUnits"});
  return Send(question) ? ReceiveCount(deadline) : std::nullopt;
}

bool FailedUnits::Connect(Deadline deadline) {
  connection_ = Corvane::FileDescriptor(ConnectSocket(bus_));
  received_.clear();
  serial_ = 1;
  if (!connection_.IsOpen() || !Send(AuthenticationLine()) || !ReceiveLine("OK ", deadline)) return false;
  return Send("BEGIN\r\n" + BusCall(serial_, kHello, {}));
}

// What is sent is small: a bus that has no room for it is a faulty one.
bool FailedUnits::Send(std::string_view bytes) const {
  const auto sent = send(connection_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
  return sent == static_cast<ssize_t>(bytes.size());
}

bool FailedUnits::ReceiveMore(Deadline deadline) {
  if (!WaitReadable(connection_.Get(), deadline)) return false;
  std::array<char, 2048> piece;
  const auto size = recv(connection_.Get(), piece.data(), piece.size(), 0);
  if (size <= 0) return false;
  received_.append(piece.data(), static_cast<std::size_t>(size));
  return true;
}

bool FailedUnits::ReceiveLine(std::string_view start, Deadline deadline) {
  while (!received_.ends_with("\r\n")) {
    if (received_.size() > kMaxLine || !ReceiveMore(deadline)) return false;
  }
  return std::exchange(received_, {}).starts_with(start);
}

std::optional<std::string> FailedUnits::ReceiveMessage(Deadline deadline) {
  while (received_.size() < kBusMessageStart) {
    if (!ReceiveMore(deadline)) return std::nullopt;
  }
  const auto size = BusMessageSize(received_);
  if (!size) return std::nullopt;
  while (received_.size() < *size) {
    if (!ReceiveMore(deadline)) return std::nullopt;
  }
  std::string message = received_.substr(0, *size);
  received_.erase(0, *size);
  return message;
}

std::optional<std::uint32_t> FailedUnits::ReceiveCount(Deadline deadline) {
  for (int i = 0; i < kMaxMessages; ++i) {
    const auto message = ReceiveMessage(deadline);
    const auto reply = message ? ReadBusReply(*message) : std::nullopt;
    if (!reply) return std::nullopt;
    if (reply->serial != serial_) continue;
    return reply->isError ? std::nullopt : ReadUnsignedVariant(reply->body);
  }
  return std::nullopt;
}

}  // namespace GuestAgent
