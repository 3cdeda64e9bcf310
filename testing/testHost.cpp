#include "testing/testHost.h"
#include "lib/public/api/guestLimits.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Testing {
namespace {

sockaddr* AsSockaddr(Krell::VsockAddress& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

}  // namespace

TestHost::TestHost(const std::string& faults) : top_("/tmp/krell-test.XXXXXX") {
  if (mkdtemp(top_.data()) == nullptr) throw std::runtime_error("mkdtemp");
  const std::string directory = top_ + "/" + std::string(150, 'h');
  host_.emplace(directory);
  std::ofstream(directory + "/faults") << faults;
  setenv("KRELL_HOST_DIR", directory.c_str(), 1);
}

TestHost::~TestHost() {
  unsetenv("KRELL_HOST_DIR");
  host_.reset();
  std::filesystem::remove_all(top_);
}

Krell::VirtualMachine TestHost::AddVm(std::uint32_t cid, const std::string& name) {
  const std::string text = name.empty() ? std::to_string(cid) : name;
  return host_->Add({cid, "bios " + text, "vm-" + text, "mgr-" + text, true});
}

PlainSocket::PlainSocket() : fd_(socket(Krell::kStandardVsockFamily, SOCK_DGRAM, 0)) {}

PlainSocket::~PlainSocket() {
  if (fd_ >= 0) close(fd_);
}

int PlainSocket::Bind(std::uint32_t port) {
  Krell::VsockAddress address{Krell::kStandardVsockFamily, 0, port, Krell::kAnyCid, 0};
  return bind(fd_, AsSockaddr(address), sizeof address) == 0 ? 0 : errno;
}

int PlainSocket::Connect(std::uint32_t cid) {
  Krell::VsockAddress address{Krell::kStandardVsockFamily, 0, 0, cid, 0};
  return connect(fd_, AsSockaddr(address), sizeof address) == 0 ? 0 : errno;
}

int PlainSocket::Send(std::uint32_t cid, std::uint32_t port, const std::string& text) {
  Krell::VsockAddress address{Krell::kStandardVsockFamily, 0, port, cid, 0};
  const auto size = sendto(fd_, text.data(), text.size(), MSG_NOSIGNAL, AsSockaddr(address), sizeof address);
  return size == static_cast<ssize_t>(text.size()) ? 0 : errno;
}

int PlainSocket::Get(int option, std::uint32_t& value) {
  socklen_t length = sizeof value;
  return getsockopt(fd_, Krell::kStandardVsockFamily, option, &value, &length) == 0 ? 0 : errno;
}

int PlainSocket::SetReceiveBuffer(int bytes) {
  return setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0 ? 0 : errno;
}

std::pair<std::string, Krell::VsockAddress> PlainSocket::Receive() {
  std::string text(NornHesper::kLargestDatagram, '\0');
  Krell::VsockAddress source;
  socklen_t length = sizeof source;
  const ssize_t size = recvfrom(fd_, text.data(), text.size(), MSG_DONTWAIT, AsSockaddr(source), &length);
  if (size < 0) return {};
  text.resize(static_cast<std::size_t>(size));
  return {text, source};
}

int PlainSocket::Drain() {
  int count = 0;
  while (Receive().second.cid != Krell::kAnyCid) ++count;
  return count;
}

}  // namespace Testing
