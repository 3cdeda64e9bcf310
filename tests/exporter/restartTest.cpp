#include <gtest/gtest.h>
#include <rapidjson/document.h>
#include <signal.h>

#include <chrono>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "testing/daemon.h"
#include "testing/eventually.h"
#include "testing/processFolder.h"
#include "tests/exporter/exporterProcess.h"

namespace Testing {
namespace {

// A daemon that comes back to the same port.
class RestartTest : public ::testing::Test {
 protected:
  RestartTest() {
    std::ofstream(config_) << "<config><mirelPort>" << port_
                           << "</mirelPort><vmListenPort>6666</vmListenPort></config>";
  }

  void StartDaemon() {
    daemon_.emplace(std::vector<std::string>{NORNHESPERD_PROGRAM, config_},
                    std::vector<std::string>{"KRELL_HOST_DIR=" + SharedHost().Directory()});
    ASSERT_TRUE(daemon_->WaitForLog("Running IO service..."));
  }

  rapidjson::Document Overview(const ExporterProcess& exporter, const std::string& cookie) {
    rapidjson::Document document;
    const auto body = exporter.Get("/api/overview", cookie).body;
    document.Parse(body.data(), body.size());
    return document;
  }

  const std::uint16_t port_ = FreePort();
  const std::string config_ = ProcessFolder() + "/restart.config";
  std::optional<ChildProcess> daemon_;
};

TEST_F(RestartTest, ExporterLivesOnAndSaysSo) {
  ExporterProcess exporter(port_);
  EXPECT_EQ(exporter.Get("/").status, 200U);
  EXPECT_EQ(exporter.TryLogin(GoodToken()).status, 503U);
  EXPECT_EQ(exporter.Metrics().status, 503U);
  StartDaemon();
  exporter.WaitForStream();
  const auto cookie = exporter.Login();
  EXPECT_TRUE(Overview(exporter, cookie)["daemon"].IsObject());
  EXPECT_TRUE(HasLine(exporter.Metrics().body, "hesper_exporter_daemon_up 1"));

  daemon_.reset();
  ASSERT_TRUE(Eventually([&] { return !Overview(exporter, cookie)["stream"]["connected"].GetBool(); }));
  // The page's viewers stay logged in, and Prometheus keeps what is known.
  const auto overview = Overview(exporter, cookie);
  EXPECT_TRUE(overview["daemon"].IsNull());
  EXPECT_EQ(overview["stream"]["interruptions"].GetInt(), 1);
  EXPECT_GT(overview["stream"]["reason"].GetStringLength(), 0U);
  const auto page = exporter.Metrics();
  EXPECT_EQ(page.status, 200U);
  EXPECT_TRUE(HasLine(page.body, "hesper_exporter_daemon_up 0"));
  EXPECT_TRUE(HasLine(page.body, "hesper_exporter_stream_up 0"));
  EXPECT_EQ(page.body.find("nornhesperd_"), std::string::npos);
  EXPECT_EQ(exporter.Get("/metrics", "Authorization: Bearer other\r\n").status, 503U);

  StartDaemon();
  exporter.WaitForStream(2);
  EXPECT_TRUE(Overview(exporter, cookie)["daemon"].IsObject());
  exporter.process().Signal(SIGTERM);
  EXPECT_EQ(exporter.process().Wait(), 0);
}

TEST_F(RestartTest, HangingDaemonDoesNotBlockThePage) {
  StartDaemon();
  ExporterProcess exporter(port_);
  exporter.WaitForStream();
  const auto cookie = exporter.Login();
  daemon_->Signal(SIGSTOP);
  Connection asking(exporter.port());
  asking.Send(HttpRequest("GET", "/api/overview", "Host: " + exporter.Host() + "\r\n" + cookie));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(exporter.Get("/page.js").status, 200U);
  EventReader viewer(exporter, cookie);
  EXPECT_NE(viewer.head().find(" 200 "), std::string::npos);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  rapidjson::Document overview;
  const auto body = ReadAnswer(asking).body;
  overview.Parse(body.data(), body.size());
  EXPECT_TRUE(overview["daemon"].IsNull());
  daemon_->Signal(SIGCONT);
}

}  // namespace
}  // namespace Testing
