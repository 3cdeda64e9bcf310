#include "platform/krell/standin/runningVms.h"

#include "platform/krell/standin/host.h"

namespace Krell {
namespace {

// Of each kind of name, those that no VM has among them.
constexpr std::size_t kMostNames = 8192;

std::optional<RunningVm> WhatIsNeeded(const std::optional<VirtualMachine>& vm) {
  if (!vm) return std::nullopt;
  return RunningVm{vm->identity.cid, vm->cartelId, vm->identity.privileged};
}

}  // namespace

std::optional<RunningVm> RunningVms::FindByCid(std::uint32_t cid) {
  const Corvane::MutexLock guard(mutex_);
  ForgetWhatHasChanged();
  const auto known = byCid_.find(cid);
  if (known != byCid_.end()) return known->second;
  return byCid_.emplace(cid, WhatIsNeeded(host_.FindByCid(cid))).first->second;
}

std::optional<RunningVm> RunningVms::FindByBiosUuid(std::string_view uuid) {
  const Corvane::MutexLock guard(mutex_);
  ForgetWhatHasChanged();
  const auto known = byBiosUuid_.find(uuid);
  if (known != byBiosUuid_.end()) return known->second;
  std::string name(uuid);
  const auto vm = WhatIsNeeded(host_.FindByBiosUuid(name));
  return byBiosUuid_.emplace(std::move(name), vm).first->second;
}

// The generation is read before the files are: what changes meanwhile is read again the next time.
void RunningVms::ForgetWhatHasChanged() {
  const std::uint64_t generation = host_.Generation();
  const bool isNew = generation != generation_;
  if (isNew || byCid_.size() >= kMostNames) byCid_.clear();
  if (isNew || byBiosUuid_.size() >= kMostNames) byBiosUuid_.clear();
  generation_ = generation;
}

}  // namespace Krell
