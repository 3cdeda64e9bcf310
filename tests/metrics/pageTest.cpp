// Many VMs on one page, whatever they write.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "testing/metricPage.h"
#include "testing/temporaryFolder.h"
#include "tests/metrics/pages.h"

namespace Fleet {
namespace {

using Texts = std::vector<std::pair<std::string, std::string>>;  // VM and text

void TakeAll(MetricStore& store, const Texts& texts) {
  for (const auto& [vm, text] : texts) store.Take(vm, "metrics.x", text, kNow);
}

std::string PartOf(const Texts& texts, MetricForm form = MetricForm::OpenMetrics) {
  MetricStore store({});
  TakeAll(store, texts);
  EXPECT_EQ(store.Refused(), 0U);
  return GuestsPart(PageOf(store, form));
}

Testing::MetricPage Checked(const MetricStore& store, MetricForm form) {
  return {PageOf(store, form), form == MetricForm::OpenMetrics ? Testing::MetricPage::Form::OpenMetrics
                                                               : Testing::MetricPage::Form::Prometheus};
}

TEST(MetricPageTest, ADisputedFamilyIsUnknownAndNoSampleIsLost) {
  const std::string counter = "# TYPE f counter\nf_total 1\nf_created 2\n";
  EXPECT_EQ(PartOf({{"c", counter}, {"b", "# TYPE f gauge\nf 3\n"}, {"a", counter}}),
            "# TYPE f unknown\nf{vm=\"b\"} 3\n"
            "# TYPE f_created unknown\nf_created{vm=\"a\"} 2\nf_created{vm=\"c\"} 2\n"
            "# TYPE f_total unknown\nf_total{vm=\"a\"} 1\nf_total{vm=\"c\"} 1\n");
  EXPECT_EQ(PartOf({{"a", counter}, {"b", "f_total 3\n"}, {"c", counter}}, MetricForm::Prometheus),
            "# TYPE f_created untyped\nf_created{vm=\"a\"} 2\nf_created{vm=\"c\"} 2\n"
            "# TYPE f_total untyped\nf_total{vm=\"a\"} 1\nf_total{vm=\"b\"} 3\nf_total{vm=\"c\"} 1\n");
}

// A name that a family may have for a sample is no other family's, whether it has the sample or not.
TEST(MetricPageTest, AFamilyWithTheNameOfAnothersSampleIsADispute) {
  const std::string honest = "# TYPE f summary\nf{quantile=\"0.5\"} 1\n# TYPE g gauge\ng 1\n";
  for (const std::string hostile : {"f_sum 1\n", "f_created 1\n", "# TYPE f_count counter\nf_count_total 1\n",
                                    "# TYPE f_sum histogram\nf_sum_bucket{le=\"+Inf\"} 1\n", "f 1\n"}) {
    MetricStore store({});
    TakeAll(store, {{"honest", honest}, {"hostile", hostile}});
    const auto page = Checked(store, MetricForm::OpenMetrics);
    EXPECT_EQ(page.TypeOf("f"), "unknown") << hostile;
    EXPECT_EQ(page.TypeOf("g"), "gauge") << hostile;
    EXPECT_EQ(page.SamplesOf("honest").count("f{vm=\"honest\",quantile=\"0.5\"} 1"), 1U) << hostile;
  }
  EXPECT_EQ(PartOf({{"a", honest}, {"b", "f_bucket 1\nf_total 1\nf_info 1\n"}}).find("# TYPE f summary\n"),
            PartOf({{"a", honest}}).find("# TYPE f summary\n"));
}

TEST(MetricPageTest, TheOrderOfArrivalIsNotSeen) {
  Texts texts;
  for (int vm = 0; vm < 30; ++vm) {
    const auto number = std::to_string(vm);
    auto text = "# TYPE b counter\nb_total{i=\"" + number + "\"} 1\n# TYPE a gauge\na 1\n";
    if (vm % 7 == 0) text.append("b_created 1\n");
    text.append(vm % 2 == 0 ? "y" : "z").append(number).append(" 1\n");
    texts.emplace_back("vm" + number, text);
  }
  const auto page = PartOf(texts);
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(texts.begin(), texts.end(), random);
    EXPECT_EQ(PartOf(texts), page);
  }
}

// Texts of lines that fit each other often enough.
class RandomTexts final {
 public:
  explicit RandomTexts(unsigned seed) : random_(seed) {}

  std::string Text() {
    std::string text;
    for (std::size_t lines = Below(12); lines > 0; --lines) text += Below(3) == 0 ? TypeLine() : SampleLine();
    if (Below(30) == 0) text.insert(Below(text.size() + 1), 1, static_cast<char>(Below(256)));
    return text;
  }

 private:
  std::size_t Below(std::size_t bound) { return random_() % bound; }
  std::string OneOf(const std::vector<std::string>& choices) { return choices[Below(choices.size())]; }
  std::string Suffix() {
    return OneOf({"", "", "_total", "_bucket", "_count", "_sum", "_created", "_info", "_gcount", "_gsum"});
  }
  std::string Name() { return OneOf({"f", "f", "g", "f_total", "f_sum"}); }
  std::string TypeLine() {
    return "# TYPE " + Name() + OneOf({"", "", "_total", "_count"}) + " " +
           OneOf({"counter", "gauge", "histogram", "summary", "gaugehistogram", "info", "stateset",
                  "untyped"}) +
           "\n";
  }
  std::string SampleLine() {
    const auto label =
        OneOf({"", "", "x=\"1\"", "f=\"on\"", "x=\"\\\"},vm=\\\"other\\\"\"", "x=\"\\nf{} 1\"", "le=\"1\"",
               "le=\"+Inf\"", "quantile=\"0.5\"", Below(20) == 0 ? "vm=\"other\"" : ""});
    return Name() + Suffix() + (label.empty() ? "" : "{" + label + "}") + " " +
           OneOf({"0", "1", "1", "2.5", "-1", "NaN", "+Inf"}) +
           OneOf({"", "", " 17", " # {vm=\"other\"} 1"}) + "\n";
  }

  std::mt19937 random_;
};

// Alone and beside the others a VM has the same samples, each with its own label, of the same type or of
// none.
void ExpectUntouched(const Texts& texts, const MetricStore& all, MetricForm form) {
  const auto page = Checked(all, form);
  for (const auto& [vm, text] : texts) {
    MetricStore store({});
    store.Take(vm, "metrics.x", text, kNow);
    const auto alone = Checked(store, form);
    EXPECT_EQ(page.SamplesOf(vm), alone.SamplesOf(vm)) << text;
    EXPECT_EQ(alone.Samples().size(), 1U) << text;
    for (const auto& line : alone.SamplesOf(vm)) {
      const auto type = page.TypeOfSample(line);
      EXPECT_TRUE(type == "unknown" || type == "untyped" || type == alone.TypeOfSample(line)) << line << type;
    }
  }
}

TEST(MetricPageTest, WhateverTextsComeThePageIsValidAndEachSampleItsVms) {
  std::uint64_t refused = 0;
  for (unsigned seed = 0; seed < 1500; ++seed) {
    RandomTexts random(seed);
    Texts texts;
    for (const char* vm : {"a", "b", "other"}) texts.emplace_back(vm, random.Text());
    MetricStore store({});
    TakeAll(store, texts);
    refused += store.Refused();
    ExpectUntouched(texts, store, MetricForm::OpenMetrics);
    ExpectUntouched(texts, store, MetricForm::Prometheus);
    ASSERT_FALSE(HasFailure()) << "seed " << seed;
  }
  // Else the texts are of no use.
  EXPECT_GT(refused, 500U);
  EXPECT_LT(refused, 4000U);
}

std::string SmallHost(MetricForm form) {
  MetricStore store({});
  TakeAll(store,
          {{"a",
            "# TYPE app_requests_total counter\napp_requests_total{path=\"/\\\"\\\\\\n\"} 5\n"
            "# TYPE app_latency_seconds histogram\napp_latency_seconds_bucket{le=\"1\"} 1\n"
            "app_latency_seconds_bucket{le=\"+Inf\"} 2\napp_latency_seconds_sum 3\n"
            "app_latency_seconds_count 2\n# TYPE app_ready stateset\napp_ready{app_ready=\"yes\"} 1\n"
            "# TYPE app_queue gaugehistogram\napp_queue_bucket{le=\"+Inf\"} 2\n"},
           {"b",
            "# TYPE app_requests counter\napp_requests_total 5\napp_requests_created 1.7e9\n"
            "# TYPE app_build info\napp_build_info{version=\"1\"} 1\n"
            "# TYPE app_size_bytes summary\napp_size_bytes{quantile=\"0.9\"} NaN\napp_size_bytes_count 0\n"},
           {"c", "# TYPE app_threads gauge\napp_threads 5\nbackup_count NaN\nbackup_total -1\n"},
           {"d", "# TYPE app_threads counter\napp_threads_total 5\n"},
           {"e", "refused"}});
  return PageOf(store, form);
}

TEST(MetricPageTest, PromtoolAcceptsThePage) {
  if (std::system("command -v promtool > /dev/null") != 0) GTEST_SKIP() << "promtool isn't installed";
  const Testing::TemporaryFolder folder;
  folder.Write("page", SmallHost(MetricForm::Prometheus));
  const std::string check =
      "promtool check metrics < '" + (folder / "page") + "' > '" + (folder / "log") + "' 2>&1";
  EXPECT_EQ(std::system(check.c_str()), 0) << Testing::ReadFile(folder / "log");
}

}  // namespace
}  // namespace Fleet
