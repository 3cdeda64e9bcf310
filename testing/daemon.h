#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/krell/standin/guestSocket.h"
#include "platform/krell/standin/host.h"
#include "testing/childProcess.h"
#include "testing/guestText.h"

namespace Testing {

// The host of this test process, in a folder of its own. Made on first use; named by KRELL_HOST_DIR, so that
// guest sockets of this process and the daemons that it starts share it.
Krell::Host& SharedHost();

// A TCP port of 127.0.0.1 that nobody has now.
std::uint16_t FreePort();

// A VM that runs for as long as this object lives.
class Vm {
 public:
  explicit Vm(std::uint32_t cid, bool privileged = true);
  ~Vm();
  Vm(const Vm&) = delete;
  Vm& operator=(const Vm&) = delete;

  std::uint32_t cid() const { return cid_; }
  std::string MgrVmId() const { return "vm-" + std::to_string(cid_); }
  std::string BiosUuid() const { return "bios-" + std::to_string(cid_); }

 private:
  std::uint32_t cid_;
};

// A running daemon on the test host, with ports that nobody else uses. Ended by force with the object.
class Daemon {
 public:
  struct Options {
    // More settings, as elements of the configuration file.
    std::string settings = {};
    // Another host directory than the test host's.
    std::string hostDirectory = {};
    // More variables, as "NAME=value".
    std::vector<std::string> environment = {};
    // Limits of the process that it starts with; 0 leaves them alone.
    unsigned maxFiles = 0;
    bool waitUntilRunning = true;
  };

  Daemon() : Daemon(Options{}) {}
  explicit Daemon(const Options& options);
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  std::uint16_t port() const { return port_; }
  std::uint32_t vmPort() const { return vmPort_; }

  // As of the process.
  pid_t pid() const { return process_->pid(); }
  std::string Log() const { return process_->Log(); }
  bool WaitForLog(std::string_view text, std::size_t times = 1) const {
    return process_->WaitForLog(text, times);
  }
  bool IsRunning() { return process_->IsRunning(); }
  void Signal(int number) const { process_->Signal(number); }
  int Wait() { return process_->Wait(); }

 private:
  std::uint16_t port_ = 0;
  std::uint32_t vmPort_ = 0;
  std::optional<ChildProcess> process_;
};

// Sends the text and gives the acknowledgement; empty when none comes in the time.
std::string Publish(Krell::GuestSocket& guest, const Daemon& daemon, std::string_view text,
                    std::chrono::milliseconds timeout = std::chrono::seconds(20));

std::string GoodAcknowledgement(std::uint64_t sequence);

}  // namespace Testing
