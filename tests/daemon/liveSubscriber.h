#pragma once

#include <gtest/gtest.h>

#include <string>

#include "testing/daemon.h"
#include "testing/subscriber.h"

namespace Testing {

// Settings under which a subscription that asks for history asks every running VM.
inline constexpr const char kAskAll[] = "<requestHistoryAll>true</requestHistoryAll>";

// A VM that finds out when a subscription is open: it waits for the daemon's request for history, which comes
// after the registration.
class Beacon {
 public:
  explicit Beacon(std::uint32_t cid) : vm_(cid), socket_(cid, kHistoryPort) {}

  // Opens a subscription; `filter` says more of what is wanted, such as `,"topic_prefixes":["a"]`.
  Subscriber Subscribe(const Daemon& daemon, const std::string& filter = "", int receiveBuffer = 0) {
    Subscriber subscriber(daemon.port(), R"({"vm_id_type":"MGR_VM_ID","past_seconds":60)" + filter + "}",
                          receiveBuffer);
    const auto request = socket_.Receive(std::chrono::seconds(20));
    EXPECT_TRUE(request) << "no request for history";
    lastRequest = request ? request->text : "";
    return subscriber;
  }

  std::string lastRequest;

 private:
  static constexpr std::uint32_t kHistoryPort = 766;

  Vm vm_;
  Krell::GuestSocket socket_;
};

}  // namespace Testing
