#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "guest/lib/hesperguest.h"
#include "testing/childProcess.h"
#include "testing/temporaryFolder.h"
#include "testing/testHost.h"

namespace Testing {

// The agent as a program in a VM of a simulated host, with its files in a folder of its own. Killed with the
// object.
class AgentProgram {
 public:
  // settings: TOML; what of [socket], [store] and [metrics] isn't in it is set here.
  explicit AgentProgram(std::uint32_t cid, std::string settings = "");

  void Start(bool waits = true);
  void Kill();
  ChildProcess& Process() { return *process_; }
  const std::string& Socket() const { return socket_; }
  std::string File(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  const std::uint32_t cid_;
  std::string socket_;
  std::string configuration_;
  std::optional<ChildProcess> process_;
};

// The daemon's place on the host's port 7777: takes publications at any rate and tells so.
class QuickHost {
 public:
  QuickHost();
  ~QuickHost();
  // The texts that have arrived so far.
  std::vector<std::string> Texts() const;
  std::size_t Count() const;
  // False when not so many of them contain this in time.
  bool Awaits(const std::string& part, std::size_t count = 1) const;

 private:
  void Receive();

  PlainSocket socket_;
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

// A local program, by the C library. Each gives 0 or a negative errno.
class LocalProgram {
 public:
  explicit LocalProgram(std::string socket) : socket_(std::move(socket)) {}
  ~LocalProgram() { hesper_agent_close(agent_); }
  LocalProgram(const LocalProgram&) = delete;
  LocalProgram& operator=(const LocalProgram&) = delete;

  int Emit(const std::string& topic, const std::string& payload, bool isLatest = false, int timeout = 20000);
  std::uint64_t Sequence() const { return sequence_; }

 private:
  const std::string socket_;
  hesper_agent* agent_ = nullptr;
  std::uint64_t sequence_ = 0;
};

// A datagram socket for exact bytes, bound to an abstract address or to a path.
class LocalDatagrams {
 public:
  explicit LocalDatagrams(const std::string& path = "");
  ~LocalDatagrams();
  // 0 or an errno; a descriptor is sent along if it isn't negative.
  int Send(const std::string& socket, const std::string& text, int descriptor = -1) const;
  // The next answer, or nothing after the time.
  std::string Receive(std::chrono::milliseconds time = std::chrono::seconds(20)) const;

 private:
  int fd_;
};

}  // namespace Testing
