#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "platform/corvane/stringUtil.h"
#include "testing/daemon.h"
#include "testing/eventually.h"
#include "testing/temporaryFolder.h"
#include "tests/exporter/exporterProcess.h"

namespace Testing {
namespace {

constexpr const char* kPromtool = "/usr/bin/promtool";
constexpr const char* kOpenMetrics =
    "Accept: application/openmetrics-text;version=1.0.0,text/plain;q=0.5\r\n";

class MetricsTest : public ::testing::Test {
 protected:
  MetricsTest() { exporter_.WaitForStream(); }

  void Say(Krell::GuestSocket& guest, const std::string& topic, const std::string& payload) {
    const auto text = PublicationText(++sequence_, topic, Corvane::StringUtil::Base64Encode(payload));
    ASSERT_TRUE(Eventually([&] {
      return Publish(guest, daemon_, text, std::chrono::milliseconds(700)) == GoodAcknowledgement(sequence_);
    }));
  }

  // The page, once it has that line.
  std::string PageWith(const std::string& line, const char* headers = "") {
    std::string page;
    EXPECT_TRUE(Eventually([&] {
      page = exporter_.Metrics(headers).body;
      return HasLine(page, line);
    })) << line
        << " is not in\n"
        << page;
    return page;
  }

  Daemon daemon_;
  ExporterProcess exporter_{daemon_.port(), {"--series", "50"}};
  Vm vm_{5};
  Vm otherVm_{6};
  Krell::GuestSocket guest_{5};
  Krell::GuestSocket other_{6};
  std::uint64_t sequence_ = 0;
};

TEST_F(MetricsTest, DaemonsAndGuestsNumbersAreOnThePage) {
  Say(guest_, "metrics.app", "# TYPE jobs gauge\njobs{queue=\"a\"} 3\n");
  const auto page = PageWith(R"(jobs{vm="vm-5",queue="a"} 3)");
  for (const char* line :
       {"# TYPE nornhesperd_publications_accepted_total counter", "nornhesperd_publications_accepted_total 1",
        "nornhesperd_publications_refused_total{cause=\"json\"} 0", "hesper_exporter_daemon_up 1",
        "hesper_exporter_stream_up 1", "hesper_vm_publications_total{vm=\"vm-5\"} 1",
        "# TYPE hesper_vm_last_publication_age_seconds gauge",
        "# TYPE nornhesperd_start_time_seconds gauge"}) {
    EXPECT_TRUE(HasLine(page, line)) << line << " is not in\n" << page;
  }
  EXPECT_EQ(page.find("# EOF"), std::string::npos);
  const auto open = exporter_.Metrics(kOpenMetrics);
  EXPECT_TRUE(open.Header("Content-Type").starts_with("application/openmetrics-text; version=1.0.0"));
  EXPECT_TRUE(open.body.ends_with("\n# EOF\n"));
  EXPECT_TRUE(HasLine(open.body, "# TYPE nornhesperd_publications_accepted counter"));
  // Each refusal has its cause.
  guest_.Send(daemon_.vmPort(), "{no json");
  PageWith("nornhesperd_publications_refused_total{cause=\"json\"} 1");
}

TEST_F(MetricsTest, GuestForgesNeitherTheDaemonNorOthers) {
  const auto before = PageWith("hesper_exporter_stream_up 1");
  // Each is a text that would be another one's if it came onto the page as it is.
  const char* const attacks[] = {
      "nornhesperd_publications_accepted_total 4711\n",
      "hesper_exporter_daemon_up 4711\n",
      "up 4711\n",
      "# TYPE hesper_vm_publications counter\nhesper_vm_publications_total{vm=\"vm-6\"} 4711\n",
      "mine{vm=\"vm-6\"} 4711\n",
      "mine{a=\"\\\"} 1\nother{vm=\\\"vm-6\\\"\"} 4711\n",
      "mine 1\n# EOF\nup 4711\n",
      "mine{a=\"x\",vm=\"vm-6\"} 4711\n",
  };
  int number = 0;
  for (const char* attack : attacks) Say(guest_, "metrics.attack" + std::to_string(number++), attack);
  Say(other_, "metrics.honest", "honest 1\n");
  for (const char* headers : {"", kOpenMetrics}) {
    const auto page = PageWith(R"(honest{vm="vm-6"} 1)", headers);
    std::size_t begin = 0;
    while (begin < page.size()) {
      const auto end = page.find('\n', begin);
      const auto line = page.substr(begin, end - begin);
      begin = end + 1;
      // With the blank: the digits alone can stand in an age of ours.
      if (line.find(" 4711") == std::string::npos) continue;
      // What the guest may say, it says of itself, under no name of ours.
      EXPECT_NE(line.find("{vm=\"vm-5\""), std::string::npos) << line;
      for (const char* ours : {"nornhesperd", "hesper_", "up"}) EXPECT_FALSE(line.starts_with(ours)) << line;
    }
    const auto mark = page.find("# EOF");
    EXPECT_TRUE(mark == std::string::npos || mark + 6 == page.size());
  }
}

TEST_F(MetricsTest, PromtoolAcceptsThePage) {
  if (access(kPromtool, X_OK) != 0) GTEST_SKIP() << "promtool is not installed";
  Say(guest_, "metrics.app", "# TYPE jobs_total counter\n# HELP jobs_total Jobs.\njobs_total 3\n");
  Say(other_, "metrics.bad", "}{");
  const TemporaryFolder folder;
  const auto file = folder.Write("page", PageWith(R"(jobs_total{vm="vm-5"} 3)"));
  const auto command = std::string(kPromtool) + " check metrics < " + file + " 2>&1";
  FILE* output = popen(command.c_str(), "r");
  std::string said(4096, '\0');
  said.resize(fread(said.data(), 1, said.size(), output));
  EXPECT_EQ(pclose(output), 0) << said;
}

}  // namespace
}  // namespace Testing
