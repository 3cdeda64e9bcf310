// What the store keeps, for how long, and what it tells of it.

#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "tests/metrics/pages.h"

namespace Fleet {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string Series(const std::string& name, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += name + "{i=\"" + std::to_string(i) + "\"} 1\n";
  return text;
}

std::string Figures(const MetricStore& store, std::string_view name, MetricStore::Time now = kNow) {
  return LinesWith(LinesWith(PageOf(store, MetricForm::OpenMetrics, now), name), "# ", false);
}

TEST(MetricBoundsTest, AVmsTextsTogetherHaveABound) {
  MetricBounds bounds;
  bounds.textsPerVm = 3;
  bounds.seriesPerVm = 10;
  MetricStore store(bounds);
  store.Take("v", "one", Series("a", 6), kNow);
  store.Take("v", "two", Series("b", 5), kNow);
  EXPECT_EQ(store.Refused(), 1U);
  store.Take("v", "two", Series("b", 4), kNow);
  store.Take("v", "two", Series("b", 4), kNow);
  EXPECT_EQ(store.Refused(), 1U);
  store.Take("v", "one", Series("a", 11), kNow);
  store.Take("v", "three", Series("c", 1), kNow);
  EXPECT_EQ(store.Refused(), 3U);
  store.Take("v", "three", "", kNow);
  store.Take("v", "four", "", kNow);
  EXPECT_EQ(store.Refused("v"), 4U);
  store.Take("w", "four", Series("b", 10), kNow);
  EXPECT_EQ(store.Refused("w"), 0U);
  EXPECT_EQ(Figures(store, "hesper_vm_metric_series"),
            "hesper_vm_metric_series{vm=\"v\"} 10\nhesper_vm_metric_series{vm=\"w\"} 10\n");
  EXPECT_EQ(Figures(store, "hesper_vm_refused_texts"),
            "hesper_vm_refused_texts_total{vm=\"v\",cause=\"too_many\"} 4\n");
}

TEST(MetricBoundsTest, AVmsMemoryHasABound) {
  MetricBounds bounds;
  bounds.bytesPerVm = 4 << 10;
  MetricStore store(bounds);
  const auto comment = [](std::size_t size) { return "#" + std::string(size - 2, 'x') + "\n"; };
  store.Take("v", "comment", comment(4 << 10), kNow);
  EXPECT_EQ(store.Refused(), 0U);
  store.Take("v", "comment", comment((4 << 10) + 1), kNow);
  EXPECT_EQ(store.Refused(), 1U);
  // 50 bytes and more each.
  for (int i = 0; i < 100; ++i) {
    store.Take("v", std::to_string(i % 16), "a{i=\"" + std::to_string(i) + std::string(200, 'x') + "\"} 1\n",
               kNow);
  }
  EXPECT_GT(store.Refused(), 1U);
  EXPECT_LT(PageOf(store).size(), 6U << 10);
  store.Take("w", std::string(5000, 't'), "a 1\n", kNow);
  EXPECT_EQ(store.Refused("w"), 1U);
}

TEST(MetricBoundsTest, ACrowdOfVmsHasABoundAndTakesNothingFromOthers) {
  MetricBounds bounds;
  bounds.bytes = 16 << 10;
  bounds.bytesAlways = 1 << 10;
  MetricStore store(bounds);
  const auto large = Series("a", 40);  // some 2 KiB in memory
  store.Take("modest", "x", "m 1\n", kNow);
  for (int i = 0; i < 20; ++i) store.Take("greedy" + std::to_string(i), "x", large, kNow);
  const auto refused = store.Refused();
  EXPECT_GT(refused, 5U);
  EXPECT_LT(refused, 20U);
  store.Take("modest", "x", "m 2\n", kNow);
  store.Take("new", "x", "m 3\n", kNow);
  store.Take("greedy0", "x", large, kNow);  // what it has is its own
  EXPECT_EQ(store.Refused(), refused);
  // What has gone makes room.
  const auto later = kNow + bounds.maxAge + seconds(61);
  store.Take("modest", "x", "m 4\n", later);
  store.Take("greedy19", "x", large, later);
  EXPECT_EQ(store.Refused(), refused);
}

TEST(MetricBoundsTest, TheVmThatWasSilentForLongestGoes) {
  MetricBounds bounds;
  bounds.vms = 3;
  MetricStore store(bounds);
  for (const char* vm : {"a", "b", "c"}) store.Take(vm, "x", "m 1\n", kNow);
  store.Take("b", "x", "m 1\n", kNow + seconds(1));
  store.Take("c", "x", "m 1\n", kNow + seconds(2));
  store.Take("a", "x", "refused", kNow + seconds(3));
  store.Take("d", "x", "m 1\n", kNow + seconds(4));
  EXPECT_EQ(GuestsPart(PageOf(store, MetricForm::OpenMetrics, kNow + seconds(4))),
            "# TYPE m unknown\nm{vm=\"a\"} 1\nm{vm=\"c\"} 1\nm{vm=\"d\"} 1\n");
  store.Take("e", "x", "m 1\n", kNow + seconds(5));
  store.Take("f", "x", "m 1\n", kNow + seconds(5));
  EXPECT_EQ(store.Refused("a"), 0U);
  EXPECT_EQ(store.Refused(), 1U);
}

TEST(MetricBoundsTest, AnOldTextGoesAndItsVmLater) {
  MetricBounds bounds;
  bounds.maxAge = seconds(300);
  MetricStore store(bounds);
  store.Take("v", "old", Series("a", 2), kNow);
  store.Take("v", "new", "b 1\n", kNow + seconds(100));
  store.Take("v", "new", "refused", kNow + milliseconds(100500));
  const auto part = [&](auto after) {
    return GuestsPart(PageOf(store, MetricForm::OpenMetrics, kNow + after));
  };
  const std::string b = "# TYPE b unknown\nb{vm=\"v\"} 1\n";
  EXPECT_EQ(part(seconds(300)), "# TYPE a unknown\na{vm=\"v\",i=\"0\"} 1\na{vm=\"v\",i=\"1\"} 1\n" + b);
  EXPECT_EQ(part(milliseconds(300001)), b);
  EXPECT_EQ(part(seconds(401)), "");
  EXPECT_EQ(Figures(store, "age_seconds", kNow + milliseconds(401250)),
            "hesper_vm_metrics_age_seconds{vm=\"v\"} 301.25\n");
  EXPECT_EQ(Figures(store, "series", kNow + seconds(301)), "hesper_vm_metric_series{vm=\"v\"} 1\n");
  EXPECT_EQ(Figures(store, "\"v\"", kNow + hours(1) + seconds(101)), "");
  // What is too old stands in nobody's way.
  store.Take("v", "newer", Series("a", 999) + "b 1\n", kNow + seconds(401));
  EXPECT_EQ(store.Refused("v"), 1U);
  store.Take("w", "x", "a 1\n", kNow + hours(2));
  EXPECT_EQ(store.Refused("v"), 0U);
  EXPECT_EQ(store.Refused(), 1U);
}

TEST(MetricBoundsTest, AVmsNameIsEscapedOrRefused) {
  MetricStore store({});
  store.Take("a\"b\\", "x", "m 1\n", kNow);
  EXPECT_EQ(GuestsPart(PageOf(store)), "# TYPE m unknown\nm{vm=\"a\\\"b\\\\\"} 1\n");
  store.Take("a\nb 1", "x", "m 1\n", kNow);
  store.Take("\xff", "x", "m 1\n", kNow);
  EXPECT_EQ(store.Refused(), 2U);
  EXPECT_EQ(Figures(store, "series"), "hesper_vm_metric_series{vm=\"a\\\"b\\\\\"} 1\n");
}

}  // namespace
}  // namespace Fleet
