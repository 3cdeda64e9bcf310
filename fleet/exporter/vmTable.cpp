#include "fleet/exporter/vmTable.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "fleet/exporter/bounds.h"

namespace Fleet {
namespace {

double OneDecimal(double value) {
  constexpr double kTenth = 10;
  return std::round(value * kTenth) / kTenth;
}

}  // namespace

void VmTable::Count(const PublicationEvent& event, Time now) {
  const Corvane::MutexLock lock(mutex_);
  Forget(now);
  auto& vm = vms_[event.vm];
  vm.last = event.received;
  vm.lastTime = now;
  ++vm.publications;
  // History comes in one go.
  if (!event.isHistory) vm.rate.Count(now);
  CountTopic(vm, event.topic);
}

void VmTable::CountTopic(Vm& vm, const std::string& topic) {
  const auto found = std::find(vm.topics.begin(), vm.topics.end(), topic);
  if (found != vm.topics.end()) {
    std::rotate(vm.topics.begin(), found, found + 1);
    return;
  }
  vm.topics.insert(vm.topics.begin(), topic);
  vm.topicBytes += topic.size();
  while (vm.topics.size() > kMostTopics || vm.topicBytes > kMostTopicBytes) {
    vm.topicBytes -= vm.topics.back().size();
    vm.topics.pop_back();
  }
}

void VmTable::Forget(Time now) {
  const bool isFull = vms_.size() >= kMostVms;
  if (!isFull && now - cleaned_ < std::chrono::minutes(1)) return;
  cleaned_ = now;
  std::erase_if(vms_, [now](const auto& vm) { return now - vm.second.lastTime >= kForgetVm; });
  if (vms_.size() < kMostVms) return;
  vms_.erase(std::min_element(vms_.begin(), vms_.end(), [](const auto& one, const auto& other) {
    return one.second.lastTime < other.second.lastTime;
  }));
}

void VmTable::ForEach(const std::function<void(const std::string&, const Vm&)>& visit) const {
  constexpr std::size_t kAtATime = 64;
  std::string last;
  for (std::size_t visited = kAtATime; visited == kAtATime;) {
    visited = 0;
    const Corvane::MutexLock lock(mutex_);
    auto next = last.empty() ? vms_.begin() : vms_.upper_bound(last);
    for (; next != vms_.end() && visited < kAtATime; ++next, ++visited) {
      visit(next->first, next->second);
      last = next->first;
    }
  }
}

void VmTable::WriteJson(JsonWriter& writer, Time now,
                        const std::function<std::uint64_t(const std::string&)>& refused) const {
  writer.StartArray();
  ForEach([&](const std::string& name, const Vm& vm) {
    writer.StartObject();
    PutText(writer, "vm", name);
    writer.Key("last");
    writer.Int64(vm.last);
    writer.Key("publications");
    writer.Uint64(vm.publications);
    writer.Key("perMinute");
    writer.Double(OneDecimal(vm.rate.PerMinute(now)));
    writer.Key("refusedTexts");
    writer.Uint64(refused(name));
    writer.Key("topics");
    writer.StartArray();
    for (const auto& topic : vm.topics) PutText(writer, topic);
    writer.EndArray();
    writer.EndObject();
  });
  writer.EndArray();
}

void VmTable::WriteMetrics(MetricWriter& writer, Time now) const {
  struct Row {
    std::string name;
    std::int64_t publications;
    double age;
  };
  std::vector<Row> rows;
  ForEach([&](const std::string& name, const Vm& vm) {
    const std::chrono::duration<double> age = now - vm.lastTime;
    rows.push_back({name, static_cast<std::int64_t>(vm.publications), std::max(0.0, age.count())});
  });
  writer.Family("hesper_vm_publications", MetricWriter::Type::Counter,
                "Publications of the VM that came here.");
  for (const auto& row : rows) writer.Sample("vm", row.name, row.publications);
  writer.Family("hesper_vm_last_publication_age_seconds", MetricWriter::Type::Gauge,
                "Seconds since the VM's last publication came here.");
  for (const auto& row : rows) writer.Sample("vm", row.name, row.age);
}

}  // namespace Fleet
