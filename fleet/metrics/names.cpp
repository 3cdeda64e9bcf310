#include "fleet/metrics/names.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "fleet/metrics/textRefused.h"

namespace Fleet {
namespace {

constexpr std::size_t kMaxMetricName = 200;
constexpr std::size_t kMaxLabelName = 128;

// The first three would have samples such as hesper_total.
constexpr std::array<std::string_view, 3> kReservedNames = {"hesper", "nornhesperd", "up"};
constexpr std::array<std::string_view, 4> kReservedStarts = {"hesper_", "nornhesperd_", "scrape_", "ALERTS"};

bool IsReservedMetric(std::string_view name) {
  const auto isStart = [&](std::string_view start) { return name.starts_with(start); };
  return std::find(kReservedNames.begin(), kReservedNames.end(), name) != kReservedNames.end() ||
         std::any_of(kReservedStarts.begin(), kReservedStarts.end(), isStart) ||
         name.find(':') != std::string_view::npos;
}

}  // namespace

void CheckMetricName(std::string_view name) {
  if (name.size() > kMaxMetricName) throw TextRefused(Refusal::TooLong);
  if (IsReservedMetric(name)) throw TextRefused(Refusal::Reserved);
}

// Of labels that begin with "__" one is the metric's name: with a second one Prometheus drops the whole page.
// It renames job and instance itself.
void CheckLabelName(std::string_view name) {
  if (name.size() > kMaxLabelName) throw TextRefused(Refusal::TooLong);
  if (name == "vm" || name.starts_with("__")) throw TextRefused(Refusal::Reserved);
}

bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool IsNameCharacter(char c) {
  return IsNameStart(c) || (c >= '0' && c <= '9');
}

}  // namespace Fleet
