#include "fleet/metrics/metricStore.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <utility>

#include "fleet/metrics/familyLines.h"
#include "fleet/metrics/keptText.h"
#include "fleet/metrics/metricText.h"
#include "fleet/metrics/storeFamilies.h"
#include "fleet/metrics/vmFamilies.h"
#include "platform/corvane/textEscape.h"

namespace Fleet {
namespace {

constexpr std::chrono::hours kForgottenAfter{1};
constexpr std::chrono::minutes kForgettingTime{1};

}  // namespace

MetricStore::MetricStore(const MetricBounds& bounds) : bounds_(bounds) {}
MetricStore::~MetricStore() = default;

void MetricStore::Take(std::string_view vm, std::string_view topic, std::string_view text, Time now) {
  auto reading = Read(text);
  const Corvane::MutexLock lock(mutex_);
  if (!Corvane::Detail::IsPlainLine(vm)) {
    ++refused_;
    return;
  }
  ForgetOld(now);
  Vm& entry = FindVm(vm);
  entry.heard = now;
  const auto* refusal = std::get_if<Refusal>(&reading);
  const auto cause =
      refusal != nullptr ? std::optional(*refusal) : Put(entry, topic, std::get<0>(std::move(reading)), now);
  if (!cause) return;
  ++entry.refused[static_cast<std::size_t>(*cause)];
  ++refused_;
}

MetricStore::Reading MetricStore::Read(std::string_view text) const {
  if (text.size() > bounds_.bytesPerVm) return Refusal::TooMany;
  try {
    return std::make_shared<const KeptText>(ReadMetricText(text, bounds_.seriesPerVm));
  } catch (const TextRefused& refused) {
    return refused.Cause();
  }
}

std::optional<Refusal> MetricStore::Put(Vm& vm, std::string_view topic, std::shared_ptr<const KeptText> kept,
                                        Time now) {
  std::erase_if(vm.texts, [&](const auto& text) { return IsOld(text.second.came, now); });
  if (const auto fault = FaultBeside(vm, topic, *kept)) return fault;
  ByteShare share(bytes_, topic.size() + kept->Bytes());
  vm.texts.insert_or_assign(std::string(topic), Text{std::move(kept), now, std::move(share)});
  vm.accepted = now;
  return {};
}

// What the text can't have beside the VM's other ones.
std::optional<Refusal> MetricStore::FaultBeside(const Vm& vm, std::string_view topic,
                                                const KeptText& kept) const {
  std::size_t texts = 1;
  std::size_t series = kept.Series();
  std::size_t bytes = topic.size() + kept.Bytes();
  std::size_t before = 0;  // that the VM has now
  bool overlaps = false;
  for (const auto& [otherTopic, other] : vm.texts) {
    before += other.share.Bytes();
    if (otherTopic == topic) continue;
    ++texts;
    series += other.kept->Series();
    bytes += other.share.Bytes();
    overlaps = overlaps || kept.Overlaps(*other.kept);
  }
  if (texts > bounds_.textsPerVm || series > bounds_.seriesPerVm || bytes > bounds_.bytesPerVm) {
    return Refusal::TooMany;
  }
  // A crowd of VMs can fill the store, but not take from the others what each has.
  if (bytes > bounds_.bytesAlways && bytes_ - before + bytes > bounds_.bytes) return Refusal::TooMany;
  return overlaps ? std::optional(Refusal::Duplicate) : std::nullopt;
}

bool MetricStore::IsForgotten(const Vm& vm, Time now) const {
  return now - vm.heard > std::max<Time::duration>(kForgottenAfter, bounds_.maxAge);
}

// VMs go away without a word.
void MetricStore::ForgetOld(Time now) {
  if (lastForgetting_ && now - *lastForgetting_ < kForgettingTime) return;
  lastForgetting_ = now;
  std::erase_if(vms_, [&](const auto& vm) { return IsForgotten(vm.second, now); });
  for (auto& [name, vm] : vms_) {
    std::erase_if(vm.texts, [&](const auto& text) { return IsOld(text.second.came, now); });
  }
}

MetricStore::Vm& MetricStore::FindVm(std::string_view name) {
  const auto known = vms_.find(name);
  if (known != vms_.end()) return known->second;
  if (vms_.size() >= bounds_.vms && !vms_.empty()) {
    const auto isEarlier = [](const auto& left, const auto& right) {
      return left.second.heard < right.second.heard;
    };
    vms_.erase(std::min_element(vms_.begin(), vms_.end(), isEarlier));
  }
  return vms_[std::string(name)];
}

void MetricStore::AppendTo(std::string& page, Time now, MetricForm form) const {
  std::vector<VmFigures> figures;
  std::vector<VmTexts> texts;
  Snapshot(now, figures, texts);
  AppendStoreFamilies(page, form, figures);
  AppendVmFamilies(page, form, texts);
}

// Texts are shared with it and never change, so that nothing has to wait for a page that is being written.
void MetricStore::Snapshot(Time now, std::vector<VmFigures>& figures, std::vector<VmTexts>& texts) const {
  const Corvane::MutexLock lock(mutex_);
  for (const auto& [name, vm] : vms_) {
    if (IsForgotten(vm, now)) continue;
    auto& figure = figures.emplace_back(VmFigures{VmLabel(name), vm.refused, 0, {}});
    if (vm.accepted) figure.age = std::chrono::duration_cast<std::chrono::milliseconds>(now - *vm.accepted);
    VmTexts kept{figure.vmLabel, {}};
    for (const auto& [topic, text] : vm.texts) {
      if (IsOld(text.came, now)) continue;
      figure.series += text.kept->Series();
      kept.texts.push_back(text.kept);
    }
    if (!kept.texts.empty()) texts.push_back(std::move(kept));
  }
}

std::uint64_t MetricStore::Refused(std::string_view vm) const {
  const Corvane::MutexLock lock(mutex_);
  const auto known = vms_.find(vm);
  if (known == vms_.end()) return 0;
  return std::accumulate(known->second.refused.begin(), known->second.refused.end(), std::uint64_t{0});
}

std::uint64_t MetricStore::Refused() const {
  const Corvane::MutexLock lock(mutex_);
  return refused_;
}

}  // namespace Fleet
