#include <gtest/gtest.h>

#include <sstream>

#include "framework/authz/authzInfo.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "tests/metadata/metadataDocument.h"

namespace Mirel::Authz {
namespace {

using namespace MetadataTest;

class AuthzMetadata : public testing::Test {
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

TEST_F(AuthzMetadata, AFaultIsToldAndChangesNothing) {
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
      // Without a model there is nothing that a rule could be for.
      {changed("/metamodel", R"({"services":[1,{"id":2},{"id":"a"}]})"), "the model has no"},
  };
  for (const auto& [text, expected] : faults) {
    const auto message = Load(text);
    EXPECT_NE(message.find(expected), std::string::npos) << message << "\nexpected: " << expected;
    EXPECT_EQ(info->operationEntitlements, (EntitlementTable{{"old", {"KEPT"}}}));
    EXPECT_TRUE(info->serviceEntitlements.empty() && info->packageEntitlements.empty());
  }
}

}  // namespace
}  // namespace Mirel::Authz
