// hesper-subscribe: prints the publications of a host, or of a fleet of them, one on each line.

#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "fleet/nats/fleetReader.h"
#include "fleet/nats/natsLink.h"
#include "fleet/stream/call.h"
#include "fleet/stream/follower.h"
#include "fleet/subscribe/line.h"
#include "fleet/subscribe/options.h"
#include "fleet/subscribe/stopSignals.h"
#include "platform/corvane/dateTime.h"
#include "platform/corvane/textEscape.h"

namespace {

void Tell(const std::string& text) {
  std::fprintf(stderr, "hesper-subscribe: %s\n", Corvane::Detail::EscapeLine(text).c_str());
}

class Printer final {
 public:
  explicit Printer(const Fleet::SubscribeOptions& options) : text_(options.text), count_(options.count) {}

  // False when that was the last one.
  bool Print(const Fleet::Element& element, const std::optional<std::string>& host = std::nullopt) {
    std::puts((text_ ? Fleet::TextLine(element, host) : Fleet::JsonLine(element, host)).c_str());
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output is closed");
    return ++printed_ != count_;
  }

 private:
  const bool text_;
  const std::uint64_t count_;
  std::uint64_t printed_ = 0;
};

class FollowingPrinter final : public Fleet::Listener {
 public:
  explicit FollowingPrinter(Printer& printer) : printer_(printer) {}

  bool Take(const Fleet::Element& element) override { return printer_.Print(element); }
  void OnInterrupted(const std::string& reason, std::chrono::milliseconds wait) override {
    interrupted_ = true;
    Tell(reason + "; the next try is in " + std::to_string(wait.count()) + " ms");
  }
  void OnOpen(std::chrono::system_clock::time_point gapBegin) override {
    if (!interrupted_) return;
    const auto since = std::chrono::floor<std::chrono::microseconds>(gapBegin.time_since_epoch()).count();
    Tell("subscribed again, and asked for what was published since " +
         Corvane::System::DateTimeFromUtc(since).ToShortStringBias());
  }

 private:
  Printer& printer_;
  bool interrupted_ = false;
};

void SubscribeOnce(const Fleet::SubscribeOptions& options, Printer& printer) {
  Fleet::Subscribe(
      options.caller, options.wanted, {}, [] {},
      [&](const Fleet::Element& element) { return printer.Print(element); });
}

void Follow(const Fleet::SubscribeOptions& options, Printer& printer) {
  const Fleet::StopSignals signals;
  FollowingPrinter listener(printer);
  Fleet::Follow(options.caller, options.wanted, signals.Token(), listener);
}

void ReadFleet(const Fleet::SubscribeOptions& options, Printer& printer) {
  const Fleet::StopSignals signals;
  const Fleet::FleetWanted wanted{options.hosts, options.wanted.vms, options.wanted.topics, options.since};
  const auto print = [&](const std::string& host, const Fleet::Element& element) {
    return printer.Print(element, host);
  };
  Fleet::ReadFleet(options.nats, options.prefix, options.stream, wanted, signals.Token(), print);
}

int Run(const Fleet::SubscribeOptions& options) try {
  Printer printer(options);
  if (!options.nats.servers.empty()) {
    ReadFleet(options, printer);
  } else if (options.follow) {
    Follow(options, printer);
  } else {
    SubscribeOnce(options, printer);
  }
  return 0;
} catch (const std::exception& fault) {
  Tell(fault.what());
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  Fleet::SubscribeOptions options;
  if (const auto status = Fleet::ReadSubscribeOptions(argc, argv, options)) return *status;
  const int status = Run(options);
  if (!options.nats.servers.empty()) Fleet::CloseNats();
  return status;
}
