#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Fleet {

// Whatever guests write, the page stays within these.
struct MetricBounds {
  std::size_t vms = 4096;
  std::size_t textsPerVm = 16;  // topics
  std::size_t seriesPerVm = 1000;
  std::size_t bytesPerVm = 256 << 10;
  std::chrono::seconds maxAge{300};  // of a text, from when it came
};

// The newest metrics of each VM, from the texts that guests publish under "metrics.". From any thread.
class MetricStore {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit MetricStore(const MetricBounds& bounds);
  ~MetricStore();

  // Takes the place of the VM's text of that topic. One that is refused is counted by cause, and the one
  // before it stays until it is too old.
  void Take(std::string_view vm, std::string_view topic, std::string_view text, Time now);

  // Appends the families of all VMs in the text form of OpenMetrics 1.0, each sample with the label vm, and
  // the counts of refused texts; without "# EOF".
  void AppendTo(std::string& page, Time now) const;

  // Refused texts of that VM, and of all.
  std::uint64_t Refused(std::string_view vm) const;
  std::uint64_t Refused() const;
};

}  // namespace Fleet
