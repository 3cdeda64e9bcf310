#pragma once

#include "bench/brokers/broker.h"
#include "bench/daemonProcess.h"

namespace Brokers {

// The daemon: published to by the guests of a full host in turn, who read the acknowledgements.
class DaemonBroker final : public Broker {
 public:
  // Comes back when the daemon knows all VMs.
  explicit DaemonBroker(const Stage& stage);

  pid_t Process() const override { return daemon_.pid(); }
  Corvane::FileDescriptor Subscribe() override { return daemon_.Subscribe(); }
  void Publish(std::string_view text) override { guests_.Send(daemon_.vmPort(), text); }
  std::vector<int> Answers() const override { return guests_.Descriptors(); }

 private:
  Bench::Guests& guests_;
  const Bench::DaemonProcess daemon_;
};

}  // namespace Brokers
