#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"

namespace Testing {

// A host of its own, which KRELL_HOST_DIR names for the life of the object. Its path is longer than the
// address of an AF_UNIX socket.
class TestHost {
 public:
  // The faults are lines of the host's file of that name.
  explicit TestHost(const std::string& faults = "");
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;
  ~TestHost();

  // Named "bios X", "vm-X" and "mgr-X"; the name is the cid if there is none.
  Krell::VirtualMachine AddVm(std::uint32_t cid, const std::string& name = "");
  Krell::Host* operator->() { return &*host_; }

 private:
  std::string top_;
  std::optional<Krell::Host> host_;
};

// The host of a death test. The child finds the one of its parent, which also removes it: a child that ends
// at once removes nothing.
class DeathTestHost {
 public:
  explicit DeathTestHost(const std::string& faults) {
    if (std::getenv("KRELL_HOST_DIR") == nullptr) host_.emplace(faults);
  }

 private:
  std::optional<TestHost> host_;
};

// A datagram socket made by the plain calls that the daemon makes.
class PlainSocket {
 public:
  PlainSocket();
  PlainSocket(const PlainSocket&) = delete;
  PlainSocket& operator=(const PlainSocket&) = delete;
  ~PlainSocket();

  int Get() const { return fd_; }
  // Each gives 0 or an errno.
  int Bind(std::uint32_t port);
  int Connect(std::uint32_t cid);
  int Send(std::uint32_t cid, std::uint32_t port, const std::string& text);
  int Get(int option, std::uint32_t& value);
  int SetReceiveBuffer(int bytes);
  // What waits, without waiting: text and source. An empty source means that nothing waits.
  std::pair<std::string, Krell::VsockAddress> Receive();
  // How many packets wait; takes them.
  int Drain();

 private:
  int fd_;
};

}  // namespace Testing
