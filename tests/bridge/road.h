#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdint>
#include <string>

#include "lib/public/api/guestLimits.h"
#include "testing/bridge.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "testing/temporaryFolder.h"
#include "testing/vmDoubles.h"

namespace Testing {

inline constexpr std::size_t kLargest = NornHesper::kLargestDatagram;

// For tests that are thousands of guests.
inline void RaiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// The whole way: the daemon, which asks every VM for history, and the bridge.
class Road {
  // The bridge removes sockets in it for as long as it runs.
  TemporaryFolder folder_;

 public:
  // Where a VM of that name has its sockets.
  VmChoice Choice(const std::string& name, bool privileged = true, std::uint32_t cid = 0) const {
    return {name, folder_ / name, privileged, cid};
  }

  // A subscription that is open; `filter` says more of what is wanted, such as `,"topic_prefixes":["a"]`.
  Subscriber Subscribe(const std::string& filter = "") {
    const Vm vm(kBeaconCid);
    Krell::GuestSocket beacon(kBeaconCid, kHistoryPort);
    Subscriber subscriber(daemon.port(), R"({"vm_id_type":"MGR_VM_ID","past_seconds":60)" + filter + "}");
    EXPECT_TRUE(beacon.Receive(kEventually)) << "no request for history";
    return subscriber;
  }

  std::uint32_t port() const { return daemon.vmPort(); }

  Daemon daemon{{.settings = "<requestHistoryAll>true</requestHistoryAll>"}};
  Bridge bridge{daemon.vmPort()};

 private:
  static constexpr std::uint32_t kBeaconCid = 3;
  static constexpr std::uint32_t kHistoryPort = 766;
};

// The publication in question, told by its topic.
inline std::string Text(std::uint64_t sequence, const std::string& topic = "a") {
  return PublicationText(sequence, topic, "aGk=");
}

inline bool Tells(const std::string& element, const std::string& member, const std::string& value) {
  return element.find('"' + member + "\":\"" + value + '"') != std::string::npos;
}

// A VM that publishes under the topic "good" is served: acknowledged, and told to a subscriber of it.
inline void ExpectServed(GuestStream& stream, Subscriber& subscriber, std::uint64_t sequence) {
  EXPECT_EQ(stream.Publish(Text(sequence, "good." + std::to_string(sequence))),
            GoodAcknowledgement(sequence));
  const auto element = subscriber.Next();
  EXPECT_TRUE(Tells(element, "topic", "good." + std::to_string(sequence))) << element;
}

}  // namespace Testing
