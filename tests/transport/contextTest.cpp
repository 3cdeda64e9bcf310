#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/executionContext.h"
#include "framework/transport/answer/responseHead.h"
#include "framework/transport/request/updateExecutionCtxHelper.h"

namespace Mirel::Provider::JsonRpc1_1 {
namespace {

using Transport::Http::HeaderView;

using Headers = std::vector<HeaderView>;

struct Updated {
  explicit Updated(Headers headers, const Core::ExecutionContext& envelope = {})
      : context(std::make_shared<Core::ExecutionContext>(envelope)) {
    const auto range = std::make_shared<Transport::Http::ResponseHeaderRange>(std::move(headers));
    UpdateExecutionCtxHelper::Update(range, {"a.b", "c"}, context, {});
  }
  std::string Security(const char* key) const {
    const auto found = context->securityContext.find(key);
    return found == context->securityContext.end() ? "absent" : found->second.text();
  }

  std::shared_ptr<Core::ExecutionContext> context;
};

TEST(UpdateExecutionCtxHelperTest, ReadsBasicAndBearer) {
  const Updated basic(Headers{{"authorization", "bASIC  YWxpY2U6cGE6c3M="}});
  EXPECT_EQ(basic.Security("schemeId"), Core::Security::kUserPassScheme);
  EXPECT_EQ(basic.Security("userName"), "alice");
  EXPECT_EQ(basic.Security("password"), "pa:ss");
  const Updated bearer(Headers{{"authorization", "Bearer ab.C-_~+/9=="}});
  EXPECT_EQ(bearer.Security("schemeId"), Core::Security::kBearerTokenScheme);
  EXPECT_EQ(bearer.Security("token"), "ab.C-_~+/9==");
}

TEST(UpdateExecutionCtxHelperTest, NeverTakesAFailedLoginForANamelessCaller) {
  for (const char* value :
       {"", "Basic", "Basic !!!!", "Basic YWxpY2U=" /* no colon */, "Basic YQA6YQ==" /* NUL */, "Bearer",
        "Bearer a b", "Bearer =", "Bearer a=b", "Digest x", "Basic\tYTpi"}) {
    const Updated updated(Headers{{"authorization", value}});
    EXPECT_EQ(updated.Security("schemeId"), Core::Security::kBearerTokenScheme) << value;
    EXPECT_EQ(updated.Security("token"), "") << value;
    EXPECT_EQ(updated.Security("userName"), "absent") << value;
  }
  const Updated twice(Headers{{"authorization", "Basic YTpi"}, {"authorization", "Bearer t"}});
  EXPECT_EQ(twice.Security("token"), "");
  EXPECT_EQ(twice.Security("userName"), "absent");
}

TEST(UpdateExecutionCtxHelperTest, LetsTheEnvelopeStand) {
  Core::ExecutionContext envelope;
  envelope.applicationContext["timezone"] = "Etc/UTC";
  envelope.securityContext.emplace("schemeId", Core::SecurityContextWrappedEntry("own"));
  const Updated updated(Headers{{"authorization", "Bearer t"},
                                {"mirel-ctx-timezone", "Europe/Sofia"},
                                {"mirel-ctx-opid", "op-1"},
                                {"accept-language", "de"},
                                {"mirel-ctx-format-locale", "fr"}},
                        envelope);
  EXPECT_EQ(updated.Security("schemeId"), "own");
  EXPECT_EQ(updated.Security("token"), "absent");
  const std::map<std::string, std::string> expected{
      {"timezone", "Etc/UTC"}, {"opId", "op-1"}, {"acceptLanguage", "de"}, {"formatLocale", "fr"}};
  EXPECT_EQ(updated.context->applicationContext, expected);
}

}  // namespace
}  // namespace Mirel::Provider::JsonRpc1_1
