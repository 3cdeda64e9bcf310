#include <gtest/gtest.h>

#include <fstream>

#include "platform/corvane/crypto.h"
#include "platform/corvane/paths.h"
#include "testing/daemon.h"
#include "testing/memoryScan.h"
#include "testing/subscriber.h"
#include "tests/daemon/liveSubscriber.h"

namespace {

using namespace Testing;

constexpr const char kServices[] = "com.tessaly.mirel.std.introspection.service.list";
// A call that is refused for its argument once the caller is known: an answer that comes at once.
constexpr const char kBadKind[] = R"({"spec":{"vm_id_type":"SERIAL"}})";

// The name of the error that the call gets; empty when it succeeds.
std::string CallAs(const Daemon& daemon, const std::string& authorization,
                   std::string_view method = kSubscribe) {
  Connection connection(daemon.port());
  connection.Send(CallRequest(method, method == kSubscribe ? kBadKind : "{}", "application/json",
                              "Connection: close\r\n", authorization));
  const auto answer = connection.ReceiveAll();
  constexpr std::string_view kHeader = "mirel-error: com.tessaly.mirel.std.errors.";
  const auto begin = answer.find(kHeader);
  if (begin == std::string::npos) return answer.starts_with("HTTP/1.1 200 OK") ? "" : answer;
  return answer.substr(begin + kHeader.size(), answer.find('\r', begin) - begin - kHeader.size());
}

TEST(CallerTest, NeedsATokenWithTheEntitlement) {
  Daemon daemon;
  EXPECT_EQ(CallAs(daemon, Authorized()), "unsupported");
  EXPECT_EQ(CallAs(daemon, ""), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, TokenFor("tests", "SOMETHING_ELSE")), "unauthorized");
  auto forged = Authorized();
  forged[forged.size() - 10] = forged[forged.size() - 10] == 'A' ? 'B' : 'A';
  EXPECT_EQ(CallAs(daemon, forged), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, "Authorization: Digest x\r\n"), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, Authorized() + Authorized()), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, "", kServices), "");
  // Whether an operation exists is nobody's business who may not call it.
  EXPECT_EQ(CallAs(daemon, "", "com.tessaly.norn.hesper.guest_data.none"), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, Authorized(), "com.tessaly.norn.hesper.guest_data.none"), "operation_not_found");
}

long AuditSize() {
  std::ifstream file(Corvane::Paths::kAuditFile, std::ios::ate);
  return file ? static_cast<long>(file.tellg()) : 0;
}

TEST(CallerTest, CannotWriteMuchWithoutAName) {
  Daemon daemon;
  std::string method;
  for (int i = 0; i < 200'000; ++i) method += i % 4 == 0 ? "\\u0001" : "\\\\";
  for (const auto& name : {method, method + "." + method}) {
    const auto before = AuditSize() + static_cast<long>(daemon.Log().size());
    CallAs(daemon, "", name);
    EXPECT_LE(AuditSize() + static_cast<long>(daemon.Log().size()) - before, 1024) << daemon.Log();
  }
}

TEST(CallerTest, IsOnRecord) {
  Daemon daemon;
  const auto before = AuditSize();
  CallAs(daemon, "");
  CallAs(daemon, TokenFor("quoted \"name\"", "GUEST_DATA_ACCESS"), kServices);
  std::ifstream file(Corvane::Paths::kAuditFile);
  file.seekg(before);
  std::string refused;
  std::string served;
  std::getline(file, refused);
  std::getline(file, served);
  EXPECT_NE(refused.find(
                R"("event":"api.call","subject":"","object":"com.tessaly.norn.hesper.guest_data:subscribe",)"
                R"("result":false)"),
            std::string::npos)
      << refused;
  EXPECT_NE(served.find(
                R"("subject":"quoted \"name\"","object":"com.tessaly.mirel.std.introspection.service:list",)"
                R"("result":true)"),
            std::string::npos)
      << served;
  EXPECT_EQ(served.find("eyJ"), std::string::npos) << "a token in the record";
}

#ifdef PAM_WRAPPER_LIBRARY  // Not under sanitizers, which want to be the first library themselves.
std::string Password(const std::string& user, const std::string& password) {
  const auto plain = user + ":" + password;
  std::string text;
  Base64_Encode(plain.data(), plain.size(), text);
  return "Authorization: Basic " + text + "\r\n";
}

TEST(CallerTest, ComesInWithRootsPasswordAlone) {
  Daemon daemon({.environment = {"LD_PRELOAD=" PAM_WRAPPER_LIBRARY, "PAM_WRAPPER=1",
                                 "PAM_WRAPPER_SERVICE_DIR=" PAM_WRAPPER_SERVICES}});
  EXPECT_EQ(CallAs(daemon, Password("root", "root secret")), "unsupported");
  EXPECT_EQ(CallAs(daemon, Password("root", "wrong")), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, Password("alice", "alice secret")), "unauthenticated");
  EXPECT_EQ(CallAs(daemon, Password("", "")), "unauthenticated");
  const auto log = daemon.Log();
  EXPECT_NE(log.find("User alice, permission denied"), std::string::npos);
  EXPECT_EQ(log.find("secret"), std::string::npos);
}

TEST(CallerTest, LeavesNoPasswordInMemory) {
  Daemon daemon({.environment = {"LD_PRELOAD=" PAM_WRAPPER_LIBRARY, "PAM_WRAPPER=1",
                                 "PAM_WRAPPER_SERVICE_DIR=" PAM_SYSTEM_SERVICES}});
  // The allocator writes into the first bytes of what was freed.
  const std::string tail = " a tail that gives it away";
  EXPECT_EQ(CallAs(daemon, Password("root", "0123456789abcdef" + tail)), "unauthenticated");
  EXPECT_EQ(CountInMemory(daemon.pid(), tail), 0);
}
#endif

}  // namespace
