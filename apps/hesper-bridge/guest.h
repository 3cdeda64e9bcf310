#pragma once

#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "apps/hesper-bridge/connection.h"
#include "platform/krell/standin/host.h"

namespace Bridge {

class FrameBudget;
class Transport;
struct Context;

// One VM as long as it runs under one identity: its connections, and what bounds them. Of its frames four may
// be under way (begun and not whole, held back, or acknowledged and not taken); when all guests together have
// very many of them, one. So what a guest can make the bridge keep is bounded, and so is what all can.
class Guest final : public std::enable_shared_from_this<Guest> {
 public:
  static constexpr std::size_t kMostConnections = 16;

  // Requires: the context outlives it.
  Guest(Context& context, Krell::VirtualMachine vm);
  Guest(const Guest&) = delete;
  Guest& operator=(const Guest&) = delete;
  ~Guest();

  void Start();
  // At once: nothing that the VM has sent is told after it.
  void Close();

  // Takes a connection of the VM, or refuses it: when it has too many, or when it is not privileged.
  void Admit(StreamSocket socket, std::uint32_t port, bool isPrivileged);
  // A line of a VM that has such.
  void AddLine(StreamSocket socket, std::uint32_t port);
  void Forget(const Connection& connection);
  // Null if no connection has this port.
  std::shared_ptr<Connection> Find(std::uint32_t port) const;

  // Gives a text to the daemon, or drops it if the VM has no right to send. If it is not taken now, the
  // connection waits in line, and is resumed.
  bool Publish(const std::shared_ptr<Connection>& connection, std::string_view text);
  void Acknowledge(std::uint32_t port, std::string_view text);
  // Sends a request for history to the VM.
  void Ask(std::uint32_t port, std::string_view text);

  // Connections take turns where they have to wait: after the delay, the first one goes on as soon as the
  // VM's rate allows it.
  void Wait(std::shared_ptr<Connection> connection, Clock::duration delay);
  bool HasWaiting() const { return !waiting_.empty(); }
  // Whether one more frame may begin.
  bool HasRoom() const;
  // The connection is resumed when that may be so.
  void AwaitRoom(const std::shared_ptr<Connection>& connection);
  void CountUnderWay(bool isUnderWay);

  void CheckProgress(Clock::time_point now);
  // Logs what is wrong with the VM, once a minute.
  void Complain(std::string_view text);

  const Krell::VirtualMachine& Vm() const { return vm_; }
  std::size_t Connections() const { return connections_.size(); }
  // Of what the daemon took, or nothing.
  std::optional<std::chrono::system_clock::time_point> LastPublication() const { return lastPublication_; }

 private:
  void Add(const std::shared_ptr<Connection>& connection);
  void Arm(Clock::duration delay);
  void ResumeFirst();

  Context& context_;
  const Krell::VirtualMachine vm_;
  const std::unique_ptr<Transport> transport_;
  std::vector<std::shared_ptr<Connection>> connections_;
  std::vector<std::shared_ptr<Connection>> waiting_;
  boost::asio::steady_timer timer_;
  bool isArmed_ = false;
  const std::shared_ptr<FrameBudget> frames_;
  Clock::time_point nextComplaint_;
  std::optional<std::chrono::system_clock::time_point> lastPublication_;
};

}  // namespace Bridge
