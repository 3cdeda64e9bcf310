// What becomes of texts that are taken.

#include <gtest/gtest.h>

#include <string>

#include "tests/metrics/pages.h"

namespace Fleet {
namespace {

struct Case {
  const char* what;
  const char* text;
  const char* page;
  const char* oldPage = nullptr;  // nothing where it is the same
};

void CheckAll(const std::initializer_list<Case>& cases) {
  for (const auto& [what, text, page, oldPage] : cases) {
    EXPECT_EQ(PageOfText(text), page) << what;
    EXPECT_EQ(PageOfText(text, MetricForm::Prometheus), oldPage == nullptr ? page : oldPage) << what;
  }
}

TEST(MetricFormTest, LinesOfBothFormsAreRead) {
  const std::string head = "# TYPE a gauge\n";
  const std::pair<const char*, const char*> samples[] = {
      {"a 5\n", "a{vm=\"v\"} 5\n"},
      {"  a \t 5 \t1700000000123 \n", "a{vm=\"v\"} 5\n"},
      {"a{} 5 1.7e9\n# EOF\n", "a{vm=\"v\"} 5\n"},
      {"a 5\n# EOF", "a{vm=\"v\"} 5\n"},
      {"a { y = \"1\" , b=\"\", x=\"2\" , } 5\n", "a{vm=\"v\",x=\"2\",y=\"1\"} 5\n"},
      {"a{job=\"j\",instance=\"i\"} 5\n", "a{vm=\"v\",instance=\"i\",job=\"j\"} 5\n"},
      {"a{x=\"\\\\ \\\" \\n é}\t#\"} 5\n", "a{vm=\"v\",x=\"\\\\ \\\" \\n é}\t#\"} 5\n"},
      {"a 5 # {trace=\"x\",vm=\"w\"} 0.3 17.5\n", "a{vm=\"v\"} 5\n"},
      {"a 5 17 # {} 0.3\n", "a{vm=\"v\"} 5\n"},
      {"\n \n# a comment of any text } \"\n#TYPE a nonsense\n# HELP a \\x\n# UNIT a a\n#\na 5\n",
       "a{vm=\"v\"} 5\n"},
      {"a .5\n", "a{vm=\"v\"} 0.5\n"},
      {"a +5.\n", "a{vm=\"v\"} 5\n"},
      {"a 1234567890\n", "a{vm=\"v\"} 1.23456789e+09\n"},
      {"a -1E-3\n", "a{vm=\"v\"} -0.001\n"},
      {"a +inf\n", "a{vm=\"v\"} +Inf\n"},
      {"a -Infinity\n", "a{vm=\"v\"} -Inf\n"},
      {"a nan\n", "a{vm=\"v\"} NaN\n"},
      {"a 9007199254740993\n", "a{vm=\"v\"} 9.007199254740992e+15\n"},
  };
  for (const auto& [sample, line] : samples) EXPECT_EQ(PageOfText(head + sample), head + line) << sample;
  EXPECT_EQ(PageOfText(""), "");
  EXPECT_EQ(PageOfText("# TYPE a gauge\n# EOF\n"), "");
}

TEST(MetricFormTest, FamiliesKeepTheirTypesInBothForms) {
  CheckAll({
      {"counter, old form", "# TYPE a_total counter\na_total 1\n", "# TYPE a counter\na_total{vm=\"v\"} 1\n",
       "# TYPE a_total counter\na_total{vm=\"v\"} 1\n"},
      {"counter and its time of creation", "# TYPE a counter\na_created 2\na_total 1\n",
       "# TYPE a counter\na_total{vm=\"v\"} 1\na_created{vm=\"v\"} 2\n",
       "# TYPE a_created untyped\na_created{vm=\"v\"} 2\n# TYPE a_total counter\na_total{vm=\"v\"} 1\n"},
      {"the same, as Prometheus' Python client has it in the old form",
       "# TYPE a_total counter\na_total 1\n# TYPE a_created gauge\na_created 2\n",
       "# TYPE a counter\na_total{vm=\"v\"} 1\na_created{vm=\"v\"} 2\n",
       "# TYPE a_created untyped\na_created{vm=\"v\"} 2\n# TYPE a_total counter\na_total{vm=\"v\"} 1\n"},
      {"no type", "a 1\nb_total 2\n",
       "# TYPE a unknown\na{vm=\"v\"} 1\n# TYPE b_total unknown\nb_total{vm=\"v\"} 2\n",
       "# TYPE a untyped\na{vm=\"v\"} 1\n# TYPE b_total untyped\nb_total{vm=\"v\"} 2\n"},
      {"summary", "# TYPE a summary\na_sum 3\na{quantile=\"1\"} 2\na{quantile=\"0.5\"} NaN\na_count 2\n",
       "# TYPE a summary\na{vm=\"v\",quantile=\"0.5\"} NaN\na{vm=\"v\",quantile=\"1.0\"} 2\n"
       "a_count{vm=\"v\"} 2\na_sum{vm=\"v\"} 3\n"},
      {"info", "# TYPE a info\na_info{x=\"y\"} 1\n", "# TYPE a info\na_info{vm=\"v\",x=\"y\"} 1\n",
       "# TYPE a_info gauge\na_info{vm=\"v\",x=\"y\"} 1\n"},
      {"states", "# TYPE b stateset\nb{b=\"x\",c=\"1\"} 1\nb{b=\"y\",c=\"0\"} 1\nb{b=\"y\",c=\"1\"} 0\n",
       "# TYPE b stateset\nb{vm=\"v\",c=\"0\",b=\"y\"} 1\nb{vm=\"v\",c=\"1\",b=\"x\"} "
       "1\nb{vm=\"v\",c=\"1\",b=\"y\"} 0\n",
       "# TYPE b gauge\nb{vm=\"v\",c=\"0\",b=\"y\"} 1\nb{vm=\"v\",c=\"1\",b=\"x\"} "
       "1\nb{vm=\"v\",c=\"1\",b=\"y\"} 0\n"},
      {"gauge histogram", "# TYPE a gaugehistogram\na_bucket{le=\"+Inf\"} 2\na_gcount 2\na_gsum 1\n",
       "# TYPE a gaugehistogram\na_bucket{vm=\"v\",le=\"+Inf\"} 2\na_gcount{vm=\"v\"} 2\na_gsum{vm=\"v\"} "
       "1\n",
       "# TYPE a_bucket untyped\na_bucket{vm=\"v\",le=\"+Inf\"} 2\n# TYPE a_gcount "
       "untyped\na_gcount{vm=\"v\"} 2\n"
       "# TYPE a_gsum untyped\na_gsum{vm=\"v\"} 1\n"},
  });
}

TEST(MetricFormTest, AHistogramIsArrangedByMetricAndBound) {
  const std::string page =
      "# TYPE a histogram\n"
      "a_bucket{vm=\"v\",p=\"/\",le=\"-1.0\"} 0\na_bucket{vm=\"v\",p=\"/\",le=\"+Inf\"} 1\n"
      "a_bucket{vm=\"v\",p=\"/x\",le=\"0.5\"} 1\na_bucket{vm=\"v\",p=\"/x\",le=\"10.0\"} 2\n"
      "a_bucket{vm=\"v\",p=\"/x\",le=\"1e+06\"} 2\na_bucket{vm=\"v\",p=\"/x\",le=\"+Inf\"} 3\n"
      "a_count{vm=\"v\",p=\"/x\"} 3\na_sum{vm=\"v\",p=\"/x\"} 9\n";
  EXPECT_EQ(PageOfText("# TYPE a histogram\na_count{p=\"/x\"} 3\na_bucket{le=\"+Inf\",p=\"/x\"} 3\n"
                       "a_bucket{le=\"1000000\",p=\"/x\"} 2\na_bucket{p=\"/\",le=\"inf\"} 1\nb 1\n"
                       "a_bucket{le=\"10\",p=\"/x\"} 2\na_bucket{p=\"/\",le=\"-1\"} 0\n"
                       "a_bucket{p=\"/x\",le=\".5\"} 1\na_sum{p=\"/x\"} 9\n"),
            page + "# TYPE b unknown\nb{vm=\"v\"} 1\n");
}

// Each of them would make the page invalid under its type.
TEST(MetricFormTest, WhatTheTypeCannotHoldIsUnknown) {
  const std::pair<std::string, std::string> texts[] = {
      {"counter\na 5\n", "a"},
      {"counter\na_total -1\n", "a_total"},
      {"counter\na_total NaN\n", "a_total"},
      {"info\na_info 2\n", "a_info"},
      {"stateset\na{a=\"x\"} 0.5\n", "a"},
      {"summary\na{quantile=\"1.5\"} 1\n", "a"},
      {"summary\na{quantile=\"0.5\"} -1\n", "a"},
      {"summary\na_count NaN\n", "a_count"},
      {"histogram\na_bucket{le=\"1\"} 1\n", "a_bucket"},
      {"histogram\na_bucket{le=\"1\"} 2\na_bucket{le=\"+Inf\"} 1\n", "a_bucket"},
      {"histogram\na_bucket{le=\"0\"} 1\na_bucket{le=\"-0\"} 1\na_bucket{le=\"+Inf\"} 1\n", "a_bucket"},
      {"histogram\na_bucket{le=\"+Inf\"} 1\na_bucket{x=\"y\",le=\"1\"} 1\n", "a_bucket"},
      {"histogram\na_bucket{le=\"+Inf\"} NaN\n", "a_bucket"},
      {"histogram\na_count 1\na_sum 1\n", "a_count"},
      {"histogram\na_bucket{le=\"+Inf\"} 1\na_count 1\n", "a_count"},
      {"histogram\na_bucket{le=\"+Inf\"} 1\na_sum 1\n", "a_sum"},
      {"histogram\na_bucket{le=\"+Inf\"} 1\na_count 2\na_sum 1\n", "a_count"},
      {"histogram\na_bucket{le=\"-1\"} 1\na_bucket{le=\"+Inf\"} 1\na_count 1\na_sum 1\n", "a_sum"},
      {"gaugehistogram\na_bucket{le=\"+Inf\"} 1\na_gcount 1\na_gsum -1\n", "a_gsum"},
  };
  for (const auto& [text, name] : texts) {
    const auto page = PageOfText("# TYPE a " + text);
    EXPECT_NE(page.find("# TYPE " + name + " unknown\n"), std::string::npos) << text << page;
    EXPECT_NE(page.find("\n" + name + "{vm=\"v\""), std::string::npos) << text << page;
    EXPECT_EQ(LinesWith(LinesWith(page, "# TYPE"), " unknown", false), "") << text;
  }
}

TEST(MetricFormTest, AGaugeWithAnotherTypesSuffixIsUnknown) {
  for (const char* suffix : {"total", "bucket", "count", "sum", "created", "info", "gsum", "gcount"}) {
    for (const char* type : {"gauge", "untyped", "unknown"}) {
      const auto name = std::string("a_").append(suffix);
      const auto typeLine = std::string("# TYPE ").append(name).append(" ");
      const auto text = std::string(typeLine).append(type).append("\n").append(name).append(" -1\n");
      EXPECT_EQ(PageOfText(text),
                std::string(typeLine).append("unknown\n").append(name).append("{vm=\"v\"} -1\n"));
    }
  }
}

}  // namespace
}  // namespace Fleet
