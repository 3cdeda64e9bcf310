#include <gtest/gtest.h>

#include <sstream>
#include <vector>

#include "framework/authz/authzInfo.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "testing/metadataDocument.h"

namespace Mirel::Authz {
namespace {

using namespace Testing;

// The service's metadata, with requirements for its operation.
std::string Requiring(const std::string& requirements) {
  return ChangedMetadata("/authorization/privileges",
                         R"({"com.tessaly.norn.hesper.guest_data.subscribe":[)" + requirements + "]}");
}

class AuthzMetadataTest : public testing::Test {
 protected:
  // Loads on top of a table that is there already; gives the message, "" on success.
  std::string Load(const std::string& text) {
    info = std::make_shared<AuthzInfo>();
    info->operationEntitlements = {{"old", {"KEPT"}}};
    std::istringstream file(text);
    MessageList messages;
    const bool loaded = Metadata::LoadAuthzInfoMetadata::Load(file, info, nullptr, messages);
    EXPECT_EQ(messages.size(), loaded ? 0U : 1U);
    return messages.empty() ? "" : messages.front().defaultMessage;
  }

  std::shared_ptr<AuthzInfo> info;
};

TEST_F(AuthzMetadataTest, AFaultIsToldAndChangesNothing) {
  const auto changed = [](const char* pointer, const char* json) { return ChangedMetadata(pointer, json); };
  const std::string subscribe = "/authorization/operations/com.tessaly.norn.hesper.guest_data.subscribe";
  const std::pair<std::string, const char*> faults[] = {
      {"", "byte 0"},
      {std::string(2000000, '['), "byte 2000000"},
      {changed("/authorisation", "{}"), "unknown member \"authorisation\""},
      {R"({"authorization":{},"authorization":{}})", "repeated member \"authorization\""},
      {changed("/authorization", ""), "member \"authorization\" is missing"},
      {changed("/authorization/packages", ""), "/authorization: member \"packages\" is missing"},
      {changed("/authorization/operations", "[]"), "/authorization/operations: expected an object"},
      {changed("/authorization/operations/a.b.c", R"(["X"])"), "the model has no \"a.b.c\""},
      {changed("/authorization/services/a.b", R"(["X"])"), "the model has no \"a.b\""},
      {changed("/authorization/packages/a", R"(["X"])"), "the model has no \"a\""},
      {changed(subscribe.c_str(), "[]"), "expected a list of entitlements"},
      {changed(subscribe.c_str(), R"("GUEST_DATA_ACCESS")"), "expected a list of entitlements"},
      {changed(subscribe.c_str(), R"(["X",1])"), "expected texts that are not empty"},
      {changed(subscribe.c_str(), R"(["X","X"])"), "\"X\" is there twice"},
      {changed("/authorization/privileges", "[]"), "/authorization/privileges: expected an object"},
      {changed("/authorization/privileges", R"({"a.b.c":[]})"), "the model has no \"a.b.c\""},
      {Requiring(""), "expected a list of requirements"},
      {Requiring(R"({"object":"a","type":"t","privilege":["P"]})"), "unknown member \"privilege\""},
      {Requiring(R"({"type":"t","privileges":["P"]})"), "expected one of \"object\" and \"argument\""},
      {Requiring(R"({"object":"","type":"t","privileges":["P"]})"), "member \"object\" is not a text"},
      {Requiring(R"({"argument":1,"type":"t","privileges":["P"]})"), "member \"argument\" is not a text"},
      {Requiring(R"({"object":"a","type":"t"})"), "member \"privileges\" is missing"},
      {Requiring(R"({"object":"a","type":"t","privileges":["P","P"]})"), "\"P\" is there twice"},
      // Without a model there is nothing that a rule could be for.
      {changed("/metamodel", R"({"services":[1,{"id":2},{"id":"a"}]})"), "the model has no"},
  };
  for (const auto& [text, expected] : faults) {
    const auto message = Load(text);
    EXPECT_NE(message.find(expected), std::string::npos) << message << "\nexpected: " << expected;
    EXPECT_EQ(info->operationEntitlements, (EntitlementTable{{"old", {"KEPT"}}}));
    EXPECT_TRUE(info->serviceEntitlements.empty() && info->packageEntitlements.empty());
    EXPECT_TRUE(info->operationPrivileges.empty());
  }
}

TEST_F(AuthzMetadataTest, RequirementsKeepTheirOrder) {
  EXPECT_EQ(Load(Requiring(R"({"argument":"spec.vm","type":"vm","privileges":["Z","A"]},)"
                           R"({"object":"root","type":"folder","privileges":["A"]})")),
            "");
  const auto& required = info->operationPrivileges.at("com.tessaly.norn.hesper.guest_data.subscribe");
  ASSERT_EQ(required.size(), 2U);
  EXPECT_EQ(required[0].object + '|' + required[0].type + '|' + required[0].argument, "|vm|spec.vm");
  EXPECT_EQ(*required[0].privileges, (std::vector<std::string>{"Z", "A"}));
  EXPECT_EQ(required[1].object + '|' + required[1].type + '|' + required[1].argument, "root|folder|");
}

}  // namespace
}  // namespace Mirel::Authz
