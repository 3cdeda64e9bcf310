// Hostile texts: each is refused as a whole by its cause, and leaves the text before it where it was.

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "tests/metrics/pages.h"

namespace Fleet {
namespace {

void ExpectRefused(const std::string& cause, const std::initializer_list<std::string>& texts) {
  for (const auto& text : texts) {
    MetricStore store({});
    store.Take("v", "metrics.x", "good 1\n", kNow);
    store.Take("v", "metrics.x", "a 1\n" + text, kNow);
    EXPECT_EQ(LinesWith(PageOf(store), "hesper_vm_refused_texts_total"),
              "hesper_vm_refused_texts_total{vm=\"v\",cause=\"" + cause + "\"} 1\n")
        << text;
    EXPECT_EQ(GuestsPart(PageOf(store)), "# TYPE good unknown\ngood{vm=\"v\"} 1\n") << text;
    EXPECT_EQ(store.Refused("v"), 1U) << text;
  }
}

std::string Sample(const std::string& label) {
  return "b{" + label + "=\"x\"} 1\n";
}

TEST(MetricRefusalTest, Characters) {
  ExpectRefused("characters",
                {"b 1\r\n", std::string("b\0 1\n", 5), "b{x=\"\xff\"} 1\n", "b{x=\"\xc0\xaf\"} 1\n",
                 "b{x=\"\xed\xa0\x80\"} 1\n", "b{x=\"\xf4\x90\x80\x80\"} 1\n", "b{x=\"\xe2\x80\xae\"} 1\n",
                 "b{x=\"\x1b[2J\"} 1\n", "# HELP b \xc3\n", "# \x7f\n"});
}

TEST(MetricRefusalTest, Syntax) {
  ExpectRefused("syntax", {"b 1",
                           "# TYPE b gauge",
                           "b\n",
                           "b \n",
                           "b{x=\"y\"}\n",
                           "1b 1\n",
                           "b-c 1\n",
                           "b\xc3\xa9 1\n",
                           "{} 1\n",
                           "{\"b\"} 1\n",
                           "b{x} 1\n",
                           "b{x=} 1\n",
                           "b{x=y} 1\n",
                           "b{x='y'} 1\n",
                           "b{x=\"y} 1\n",
                           "b{x=\"y\\\"} 1\n",
                           "b{x=\"y\\\n",
                           "b{x=\"\\t\"} 1\n",
                           "b{x=\"y\" z=\"1\"} 1\n",
                           "b{,} 1\n",
                           "b{x=\"1\",,} 1\n",
                           "b{x:y=\"1\"} 1\n",
                           "b{1x=\"1\"} 1\n",
                           "b{x=\"1\"\n",
                           "b{x=\"1\"}} 1\n",
                           "b{x=\"1\",x=\"1\"} 1\n",
                           "b{x=\"\",x=\"1\"} 1\n",
                           "b 1 2 3\n",
                           "b 1 x\n",
                           "b x\n",
                           "b 0x10\n",
                           "b 1_0\n",
                           "b 1e\n",
                           "b .\n",
                           "b --1\n",
                           "b +nan\n",
                           "b nan(1)\n",
                           "b infin\n",
                           "b 1e999\n",
                           "b -1e999\n",
                           "b 1,5\n",
                           "b 1 #\n",
                           "b 1 # x\n",
                           "b 1 # {x=\"1\"}\n",
                           "b 1 # {x=\"1\"} y\n",
                           "b 1 # {x=\"1\"} 1 2 3\n",
                           "b 1 # {x=1} 1\n",
                           "b 1 #{} 1\n# EOF\nb 1\n",
                           "# EOF\n\n# EOF\n",
                           "# EOF\nb 2\n",
                           "# TYPE\n",
                           "# TYPE b gauge x\n",
                           "# TYPE b-c gauge\n"});
}

TEST(MetricRefusalTest, ReservedNames) {
  ExpectRefused("reserved", {"hesper_x 1\n",
                             "hesper_vm_refused_texts_total{cause=\"x\"} 9\n",
                             "nornhesperd_up 1\n",
                             "up 1\n",
                             "hesper 1\n",
                             "scrape_duration_seconds 1\n",
                             "ALERTS{alertname=\"x\"} 1\n",
                             "ALERTS_FOR_STATE 1\n",
                             "job:b:rate5m 1\n",
                             ":b 1\n",
                             "# TYPE up gauge\n",
                             "# TYPE up_total counter\n",
                             "# TYPE hesper counter\nhesper_total 1\n",
                             "# TYPE nornhesperd_b summary\n",
                             Sample("vm"),
                             Sample("__name__"),
                             Sample("__address__"),
                             Sample("__"),
                             "b{vm=\"\"} 1\n",
                             "b{a=\"1\",vm=\"v\"} 1\n"});
  EXPECT_NE(
      PageOfText("upper 1\nscraped 1\nhesperus 1\nx_up 1\nb{vm_name=\"w\",exported_vm=\"w\",_x=\"1\"} 1\n"),
      "refused");
}

TEST(MetricRefusalTest, Types) {
  ExpectRefused("type",
                {"# TYPE b\n", "# TYPE b Gauge\n", "# TYPE b int\n", "# TYPE b gauge\n# TYPE b gauge\n",
                 "# TYPE b counter\n# TYPE b_total counter\n", "# TYPE b_total counter\n# TYPE b histogram\n",
                 "b 1\n# TYPE b gauge\n", "b_total 1\n# TYPE b_total counter\n", "# TYPE b histogram\nb 1\n",
                 "# TYPE b gaugehistogram\nb 1\n", "# TYPE b info\nb 1\n", "# TYPE b histogram\nb_bucket 1\n",
                 "# TYPE b histogram\nb_bucket{le=\"x\"} 1\n", "# TYPE b histogram\nb_bucket{le=\"NaN\"} 1\n",
                 "# TYPE b histogram\nb_bucket{le=\"1e999\"} 1\n", "# TYPE b summary\nb 1\n",
                 "# TYPE b summary\nb{quantile=\"\"} 1\n", "# TYPE b stateset\nb 1\n",
                 "# TYPE b stateset\nb{b=\"\"} 1\n"});
}

TEST(MetricRefusalTest, Duplicates) {
  ExpectRefused("duplicate",
                {"a 2\n", "a{x=\"\"} 1\n", "a 1 17\n", "b{x=\"1\",y=\"2\"} 1\nb{y=\"2\",x=\"1\"} 2\n",
                 "# TYPE b histogram\nb_bucket{le=\"1\"} 1\nb_bucket{le=\"1.0\"} 1\n",
                 "b_total 1\n# TYPE b counter\nb_total 2\n"});
}

TEST(MetricRefusalTest, DuplicatesInAnotherTextOfTheVm) {
  MetricStore store({});
  store.Take("v", "metrics.x", "# TYPE b counter\nb_total{x=\"1\"} 1\n", kNow);
  store.Take("v", "metrics.y", "c 1\nb_total{x=\"1\"} 7\n", kNow);
  EXPECT_EQ(store.Refused("v"), 1U);
  store.Take("w", "metrics.y", "b_total{x=\"1\"} 7\n", kNow);
  store.Take("v", "metrics.y", "b_total{x=\"2\"} 7\n", kNow);
  store.Take("v", "metrics.x", "# TYPE b counter\nb_total{x=\"1\"} 2\n", kNow);
  EXPECT_EQ(store.Refused(), 1U);
  EXPECT_EQ(GuestsPart(PageOf(store)),
            "# TYPE b_total unknown\nb_total{vm=\"v\",x=\"1\"} 2\nb_total{vm=\"v\",x=\"2\"} 7\n"
            "b_total{vm=\"w\",x=\"1\"} 7\n");
}

// The first of two texts is the longest that is taken, the second one is beyond.
TEST(MetricRefusalTest, Lengths) {
  const auto metric = [](std::size_t size) { return std::string(size, 'm') + " 1\n"; };
  const auto name = [](std::size_t size) { return Sample(std::string(size, 'l')); };
  const auto value = [](std::size_t size) {
    return "b{x=\"\\n" + std::string(size - 1, 'v') + "\"} 1\n";  // an escape is one byte
  };
  const auto labels = [](int count) {
    std::string text = "b{";
    for (int i = 0; i < count; ++i) text += "l" + std::to_string(i) + "=\"\",";
    return text + "} 1\n";
  };
  for (const auto& text : {metric(200), name(128), value(256), labels(16)}) {
    EXPECT_NE(PageOfText(text), "refused");
  }
  ExpectRefused("too_long",
                {metric(201), name(129), value(257), "# TYPE " + std::string(201, 'm') + " gauge\n"});
  ExpectRefused("too_many", {labels(17), "b 1 # " + labels(17).substr(1)});
}

}  // namespace
}  // namespace Fleet
