#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fleet/exporter/jsonText.h"
#include "fleet/exporter/metricWriter.h"
#include "fleet/exporter/publicationEvent.h"
#include "fleet/exporter/slidingRate.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

// What is known of each VM that has published. With too many VMs the one that is longest silent is forgotten,
// and each is after a day of silence. From any thread.
class VmTable final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  void Count(const PublicationEvent& event, Time now);

  // An array in the order of names. `refused` gives a VM's refused texts.
  void WriteJson(JsonWriter& writer, Time now,
                 const std::function<std::uint64_t(const std::string&)>& refused) const;
  void WriteMetrics(MetricWriter& writer, Time now) const;

 private:
  struct Vm {
    std::int64_t last = 0;  // milliseconds since 1970
    Time lastTime;
    std::uint64_t publications = 0;
    SlidingRate rate;
    std::vector<std::string> topics;  // the newest in front
    std::size_t topicBytes = 0;
  };
  using Vms = std::map<std::string, Vm>;

  static void CountTopic(Vm& vm, const std::string& topic);
  void Forget(Time now) CORVANE_REQUIRES(mutex_);
  // Holds the lock, for a few of them at a time.
  void ForEach(const std::function<void(const std::string&, const Vm&)>& visit) const;

  mutable Corvane::Mutex mutex_;
  Vms vms_ CORVANE_GUARDED_BY(mutex_);
  Time cleaned_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet
