#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "fleet/metrics/byteShare.h"
#include "fleet/metrics/metricForm.h"
#include "fleet/metrics/textRefused.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

class KeptText;
struct VmFigures;
struct VmTexts;

// Whatever guests write, the page stays within these.
struct MetricBounds {
  std::size_t vms = 4096;       // beyond: the one that was silent for the longest time is forgotten
  std::size_t textsPerVm = 16;  // topics
  std::size_t seriesPerVm = 1000;
  std::size_t bytesPerVm = 256 << 10;  // in memory; a line of the page has the names of metric and VM besides
  std::size_t bytes = 128 << 20;       // of all VMs; those with less than bytesAlways each come on top
  std::size_t bytesAlways = 32 << 10;  // a VM may have whatever others do
  std::chrono::seconds maxAge{660};    // of a text, from when it came; the agent repeats a file each 300
};

// The newest metrics of each VM, from the texts that guests publish under "metrics.". From any thread.
class MetricStore final {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit MetricStore(const MetricBounds& bounds);
  ~MetricStore();

  // Takes the place of the VM's text of that topic. One that is refused is counted by cause, and the one
  // before it stays until it is too old. A VM whose name isn't plain text on one line is refused everything.
  void Take(std::string_view vm, std::string_view topic, std::string_view text, Time now);

  // Appends the families of all VMs, each sample with the label vm as its first one, and what the store has
  // to tell of each VM: hesper_vm_refused_texts_total, hesper_vm_metric_series,
  // hesper_vm_metrics_age_seconds. Without "# EOF". Two pages of the same texts are the same; other families
  // of a page may not begin with "hesper_vm_". A VM is on the page until nothing was heard of it for an hour,
  // and its texts are too old.
  void AppendTo(std::string& page, Time now, MetricForm form = MetricForm::OpenMetrics) const;

  // Refused texts of that VM, and of all since the start, forgotten VMs among them.
  std::uint64_t Refused(std::string_view vm) const;
  std::uint64_t Refused() const;

 private:
  struct Text {
    std::shared_ptr<const KeptText> kept;
    Time came;
    ByteShare share;
  };
  struct Vm {
    std::map<std::string, Text, std::less<>> texts;  // by topic
    RefusalCounts refused{};
    Time heard{};  // a text that was refused is heard, too
    std::optional<Time> accepted;
  };
  using Vms = std::map<std::string, Vm, std::less<>>;
  using Reading = std::variant<std::shared_ptr<const KeptText>, Refusal>;

  Reading Read(std::string_view text) const;
  bool IsOld(Time came, Time now) const { return now - came > bounds_.maxAge; }
  bool IsForgotten(const Vm& vm, Time now) const;
  void ForgetOld(Time now) CORVANE_REQUIRES(mutex_);
  Vm& FindVm(std::string_view name) CORVANE_REQUIRES(mutex_);
  std::optional<Refusal> Put(Vm& vm, std::string_view topic, std::shared_ptr<const KeptText> kept, Time now)
      CORVANE_REQUIRES(mutex_);
  std::optional<Refusal> FaultBeside(const Vm& vm, std::string_view topic, const KeptText& kept) const
      CORVANE_REQUIRES(mutex_);
  void Snapshot(Time now, std::vector<VmFigures>& figures, std::vector<VmTexts>& texts) const;

  const MetricBounds bounds_;
  mutable Corvane::Mutex mutex_;
  std::size_t bytes_ CORVANE_GUARDED_BY(mutex_) = 0;  // of all texts; outlives their shares
  Vms vms_ CORVANE_GUARDED_BY(mutex_);
  std::uint64_t refused_ CORVANE_GUARDED_BY(mutex_) = 0;
  std::optional<Time> lastForgetting_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet
