#include "apps/nornhesperd/endpoint.h"

#include <gtest/gtest.h>

#include "platform/corvane/authenticate.h"
#include "platform/token/tokenHandler.h"

namespace NornHesper {
namespace {

TEST(UserPassCustomizeAuthDataCb, RootGetsTheEntitlementAndNobodyElseComesIn) {
  const auto data = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
  auto token = Corvane::MakeRef<Corvane::System::AuthTokenHelper>("root");
  EXPECT_TRUE(NornHesperApi::UserPassCustomizeAuthDataCb(token.get(), data));
  const auto list = std::dynamic_pointer_cast<const Mirel::Data::ListValue>(
      data->GetField(Norn::Authn::TokenHandler::ENTITLEMENTS_GRANTS));
  ASSERT_TRUE(list);
  ASSERT_EQ(list->elements().size(), 1U);
  EXPECT_EQ(dynamic_cast<const Mirel::Data::StringValue&>(*list->elements()[0]).value(), "GUEST_DATA_ACCESS");

  for (const char* name : {"Root", "root ", "alice", ""}) {
    token = Corvane::MakeRef<Corvane::System::AuthTokenHelper>(name);
    const auto untouched = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(NornHesperApi::UserPassCustomizeAuthDataCb(token.get(), untouched));
    EXPECT_NE(
        testing::internal::GetCapturedStderr().find("User " + std::string(name) + ", permission denied"),
        std::string::npos);
    EXPECT_TRUE(untouched->fields().empty());
  }
}

}  // namespace
}  // namespace NornHesper
