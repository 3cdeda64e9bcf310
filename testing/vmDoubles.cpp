#include "testing/vmDoubles.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "testing/daemon.h"

namespace Testing {
namespace {

using Corvane::FileDescriptor;

// The guest's port for requests, as the VMM is asked for it.
constexpr std::string_view kHistoryCall = "CONNECT 766\n";

sockaddr_un AddressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) throw std::runtime_error("too long: " + path);
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

FileDescriptor NewSocket() {
  return FileDescriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
}

FileDescriptor ListenAtPath(const std::string& path) {
  const auto address = AddressOf(path);
  unlink(path.c_str());
  auto listening = NewSocket();
  if (bind(listening.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(listening.Get(), 16) != 0) {
    throw std::runtime_error("cannot listen at " + path);
  }
  return listening;
}

// Empty when nobody connects in time.
FileDescriptor AcceptAt(const FileDescriptor& listening) {
  pollfd readiness{listening.Get(), POLLIN, 0};
  const auto time = std::chrono::milliseconds(kEventually).count();
  if (poll(&readiness, 1, static_cast<int>(time)) <= 0) return {};
  return FileDescriptor(accept4(listening.Get(), nullptr, nullptr, SOCK_CLOEXEC));
}

}  // namespace

DoubleVm::DoubleVm(const VmChoice& choice, const Krell::VmTransport& transport)
    : vm_(SharedHost().Add({choice.cid, "bios-" + choice.name, "uuid-" + choice.name, "vm-" + choice.name,
                            choice.privileged, transport})) {}

void DoubleVm::Stop() {
  if (std::exchange(runs_, false)) SharedHost().Remove(cid());
}

HybridVm::HybridVm(const VmChoice& choice)
    : DoubleVm(choice, {Krell::VmTransport::Kind::Hybrid, choice.path}) {}

HybridVm::~HybridVm() {
  StopListening();
}

std::optional<GuestStream> HybridVm::TryConnect(std::uint32_t port) const {
  const auto address = AddressOf(path() + "_" + std::to_string(port));
  auto socket = NewSocket();
  if (connect(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return {};
  return GuestStream(std::move(socket), std::make_unique<Wire::LengthFraming>());
}

GuestStream HybridVm::Connect(std::uint32_t port) const {
  std::optional<GuestStream> stream;
  if (!Eventually([&] { return (stream = TryConnect(port)).has_value(); })) {
    throw std::runtime_error("nobody listens at " + path());
  }
  return std::move(*stream);
}

void HybridVm::Listen() {
  listening_ = ListenAtPath(path());
}

void HybridVm::StopListening() {
  if (!listening_.IsOpen()) return;
  listening_ = {};
  unlink(path().c_str());
}

std::optional<std::string> HybridVm::ReceiveRequest() {
  auto socket = AcceptAt(listening_);
  char line[kHistoryCall.size()];
  const auto size = recv(socket.Get(), line, sizeof line, MSG_WAITALL);
  if (size < 0 || std::string_view(line, static_cast<std::size_t>(size)) != kHistoryCall) return {};
  GuestStream stream(std::move(socket), std::make_unique<Wire::LengthFraming>());
  stream.SendBytes("OK 1073741824\n");
  auto request = stream.Receive();
  return stream.Closes() ? request : std::nullopt;
}

SerialVm::SerialVm(const VmChoice& choice)
    : DoubleVm(choice, {Krell::VmTransport::Kind::Serial, choice.path, choice.path + ".history"}),
      historyPath_(choice.path + ".history") {
  Listen();
}

SerialVm::~SerialVm() {
  StopListening();
}

GuestStream SerialVm::Connect(std::uint32_t) {
  auto socket = AcceptAt(publish_);
  if (!socket.IsOpen()) throw std::runtime_error("nobody connects to " + path());
  // A request is dropped while its line isn't there.
  AcceptHistoryLine();
  GuestStream stream(std::move(socket), std::make_unique<Wire::CobsFraming>());
  stream.SendBytes(Wire::CobsFraming().Prologue());
  return stream;
}

void SerialVm::Listen() {
  publish_ = ListenAtPath(path());
  history_ = ListenAtPath(historyPath_);
}

void SerialVm::StopListening() {
  publish_ = {};
  history_ = {};
  requests_.reset();
  unlink(path().c_str());
  unlink(historyPath_.c_str());
}

std::optional<std::string> SerialVm::ReceiveRequest() {
  AcceptHistoryLine();
  return requests_->Receive();
}

void SerialVm::AcceptHistoryLine() {
  if (!requests_) requests_.emplace(AcceptAt(history_), std::make_unique<Wire::CobsFraming>());
}

}  // namespace Testing
