#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testing/daemon.h"
#include "testing/eventually.h"
#include "testing/processFolder.h"
#include "tests/exporter/exporterProcess.h"

namespace Testing {
namespace {

class LoginTest : public ::testing::Test {
 protected:
  HttpAnswer Send(const std::string& request) {
    Connection connection(exporter_.port());
    connection.Send(request);
    return ReadAnswer(connection);
  }

  // A login as a page elsewhere would have the browser send it.
  unsigned LoginWith(const std::string& headers, const std::string& path = "/login") {
    return Send(HttpRequest("POST", path, headers, R"({"token":")" + GoodToken() + R"("})")).status;
  }

  Daemon daemon_;
  ExporterProcess exporter_{daemon_.port(), {"--host", "node-7.example"}};
};

TEST_F(LoginTest, SessionShowsTheHostUntilItsEnd) {
  EXPECT_EQ(exporter_.Get("/api/overview").status, 401U);
  EXPECT_EQ(exporter_.Get("/api/events").status, 401U);
  const auto answer = exporter_.TryLogin(GoodToken());
  ASSERT_EQ(answer.status, 204U);
  const auto set = answer.Header("Set-Cookie");
  for (const char* part : {"HttpOnly", "SameSite=Strict", "Path=/"}) {
    EXPECT_NE(set.find(part), std::string::npos) << set;
  }
  const auto cookie = exporter_.Login();
  EXPECT_GE(cookie.size(), std::string("Cookie: hesper_session=").size() + 64);
  EXPECT_EQ(exporter_.Get("/api/overview", cookie).status, 200U);

  // The last digit is another one: nobody's.
  auto forged = cookie;
  auto& digit = forged[forged.size() - 3];
  digit = digit == '0' ? '1' : '0';
  EXPECT_EQ(exporter_.Get("/api/overview", forged).status, 401U);
  EXPECT_EQ(exporter_.Get("/api/overview", "Cookie: hesper_session=\r\n").status, 401U);

  EventReader viewer(exporter_, cookie);
  EXPECT_EQ(exporter_.Post("/logout", "", cookie).status, 204U);
  EXPECT_EQ(exporter_.Get("/api/overview", cookie).status, 401U);
  // Who looks on loses sight as well.
  EXPECT_NO_THROW(viewer.connection().ReceiveAll());
}

TEST_F(LoginTest, OtherSitesPagesReachNothing) {
  const auto own = "Host: " + exporter_.Host() + "\r\n";
  const auto origin = "Origin: http://" + exporter_.Host() + "\r\n";
  const std::string json = "Content-Type: application/json\r\n";
  EXPECT_EQ(LoginWith(own + origin + json), 204U);
  EXPECT_EQ(LoginWith(own + json), 403U);
  EXPECT_EQ(LoginWith(own + json + "Origin: null\r\n"), 403U);
  EXPECT_EQ(LoginWith(own + json + "Origin: http://evil.example\r\n"), 403U);
  EXPECT_EQ(LoginWith(own + json + "Origin: http://127.0.0.1:1\r\n"), 403U);
  EXPECT_EQ(LoginWith(own + json + origin + origin), 403U);
  EXPECT_EQ(LoginWith(own + origin + json + "Sec-Fetch-Site: same-site\r\n"), 403U);
  EXPECT_EQ(LoginWith(own + json + "Origin: http://evil.example\r\n", "/logout"), 403U);
  EXPECT_EQ(LoginWith(own + origin + "Content-Type: text/plain\r\n"), 415U);
  // Names that somebody has pointed here.
  const std::string evil = "evil.example:" + std::to_string(exporter_.port());
  EXPECT_EQ(LoginWith("Host: " + evil + "\r\nOrigin: http://" + evil + "\r\n" + json), 421U);
  for (const char* host :
       {"evil.example", "127.0.0.1.evil.example", "localhost:80@evil", "", "[::1", "127.0.0.1:x"}) {
    for (const char* path : {"/", "/metrics", "/api/overview"}) {
      EXPECT_EQ(Send(HttpRequest("GET", path, "Host: " + std::string(host) + "\r\n")).status, 421U) << host;
    }
  }
  for (const char* host : {"LOCALHOST:8080", "[::1]:80", "node-7.example"}) {
    EXPECT_EQ(Send(HttpRequest("GET", "/", "Host: " + std::string(host) + "\r\n")).status, 200U) << host;
  }
  // Cookies know no ports, so that another server's page of this host would send them along.
  const auto cookie = exporter_.Login();
  EXPECT_EQ(exporter_.Get("/api/overview", cookie + "Sec-Fetch-Site: same-site\r\n").status, 403U);
  EXPECT_EQ(exporter_.Get("/api/events", cookie + "Sec-Fetch-Site: cross-site\r\n").status, 403U);
  EXPECT_EQ(exporter_.Get("/api/overview", cookie + "Sec-Fetch-Site: same-origin\r\n").status, 200U);
}

TEST_F(LoginTest, BadTokensAreRefusedAndAFloodOfThemHitsNobodyElse) {
  EXPECT_EQ(exporter_.Metrics().status, 200U);
  EXPECT_EQ(exporter_.TryLogin("").status, 401U);
  EXPECT_EQ(exporter_.Post("/login", "[1").status, 400U);
  EXPECT_EQ(exporter_.Post("/login", R"({"token":5})").status, 400U);
  EXPECT_EQ(exporter_.Post("/login", std::string(16000, '[')).status, 400U);
  unsigned refused = 0;
  unsigned limited = 0;
  for (int i = 0; i < 30; ++i) {
    const auto status = i % 2 == 0 ? exporter_.TryLogin("e.e." + std::to_string(i)).status
                                   : exporter_.Get("/metrics", "Authorization: Bearer x\r\n").status;
    refused += status == 401 ? 1 : 0;
    limited += status == 429 ? 1 : 0;
  }
  EXPECT_EQ(refused + limited, 30U);
  EXPECT_GE(refused, 1U);
  EXPECT_GE(limited, 10U);
  // This user's own tries are used up, but a token that is known to be good needs none.
  EXPECT_EQ(exporter_.Metrics().status, 200U);
  EXPECT_EQ(exporter_.TryLogin(GoodToken()).status, 204U);
}

TEST_F(LoginTest, TokenWithoutTheEntitlementOpensNothing) {
  const auto line = TokenFor("somebody", "OTHER");
  EXPECT_EQ(exporter_.Get("/metrics", line).status, 401U);
  EXPECT_EQ(exporter_.Get("/metrics", line).Header("WWW-Authenticate"), "Bearer");
  EXPECT_EQ(exporter_.Get("/metrics").status, 401U);
  EXPECT_EQ(exporter_.Get("/metrics", "Authorization: Basic cm9vdDp4\r\n").status, 401U);
  // A line end in a token would be a header of the exporter's own request.
  EXPECT_EQ(exporter_.TryLogin(GoodToken() + R"(\r\nX: y)").status, 401U);
}

TEST_F(LoginTest, PageIsPublicAndFenced) {
  for (const char* path : {"/", "/page.css", "/page.js"}) {
    const auto answer = exporter_.Get(path);
    EXPECT_EQ(answer.status, 200U) << path;
    EXPECT_FALSE(answer.body.empty());
    EXPECT_TRUE(
        answer.Header("Content-Security-Policy").starts_with("default-src 'none'; script-src 'self'"));
    EXPECT_EQ(answer.Header("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(exporter_.Get(path, "If-None-Match: " + answer.Header("ETag") + "\r\n").status, 304U);
  }
  for (const char* path : {"/index.html", "/page.js/", "/../page.js", "/api", "/api/", "/metrics/", "//"}) {
    EXPECT_EQ(exporter_.Get(path).status, 404U) << path;
  }
  EXPECT_EQ(exporter_.Get("/login").status, 405U);
}

}  // namespace
}  // namespace Testing
