#include "lib/sarnMirel/userPassHandler.h"

#include <gtest/gtest.h>

#include <optional>

#include "framework/core/securitySchemes.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/log.h"
#include "tests/authn/chainEnd.h"

namespace SarnMirel::Authn {
namespace {

using Corvane::System::AuthTokenHelper;
using Mirel::Data::DataValuePtr;
namespace Security = Mirel::Core::Security;

class UserPassHandlerTest : public testing::Test {
 protected:
  std::optional<DataValuePtr> Ask(const std::map<std::string, std::string>& security) {
    std::optional<DataValuePtr> answer;
    UserPassHandler handler(authenticate, Corvane::Service::Logger::sDefaultLogger, customize);
    handler.AsyncAuthenticate(MakeActivation(security), [&](const DataValuePtr& value) {
      EXPECT_FALSE(answer);
      answer = value;
    });
    return answer;
  }

  DataValuePtr LogIn(const std::string& user, const std::string& password) {
    return Ask({{Security::kSchemeIdKey, Security::kUserPassScheme},
                {Security::kUserNameKey, user},
                {Security::kPasswordKey, password}})
        .value();
  }

  int asked = 0;
  UserPassHandler::Authenticate authenticate = [this](const auto& user, const auto& password) {
    ++asked;
    return password == "right " + user ? Corvane::MakeRef<AuthTokenHelper>(user) : nullptr;
  };
  UserPassHandler::CustomizeAuthData customize;
};

std::string FieldNames(const DataValuePtr& value) {
  std::string names;
  for (const auto& [name, field] : dynamic_cast<const Mirel::Data::CompoundValue&>(*value).fields())
    names += name + " ";
  return names;
}

TEST_F(UserPassHandlerTest, OtherSchemesAreNotItsBusiness) {
  EXPECT_EQ(Ask({}).value(), nullptr);
  EXPECT_EQ(Ask({{Security::kSchemeIdKey, Security::kBearerTokenScheme},
                 {Security::kUserNameKey, "u"},
                 {Security::kPasswordKey, "right u"}})
                .value(),
            nullptr);
  EXPECT_EQ(asked, 0);
}

TEST_F(UserPassHandlerTest, Login) {
  for (const std::string user : {"u", ""}) {
    const auto data = std::dynamic_pointer_cast<const Mirel::Data::StructValue>(LogIn(user, "right " + user));
    ASSERT_TRUE(data);
    EXPECT_EQ(data->name(), "CorvaneUserPass");
    EXPECT_EQ(FieldNames(data), "username ");
    EXPECT_EQ(dynamic_cast<const Mirel::Data::StringValue&>(*data->GetField("username")).value(), user);
  }
  customize = [](AuthTokenHelper* token, const auto& data) {
    data->SetField("more", Mirel::Data::DataValue::Create(token->GetUserName()));
    return true;
  };
  EXPECT_EQ(FieldNames(LogIn("u", "right u")), "username more ");
}

TEST_F(UserPassHandlerTest, RefusalsAllLookAlike) {
  const auto wrong = LogIn("u", "wrong");
  ASSERT_EQ(wrong->type(), Mirel::Data::DataType::Error);
  const auto& error = dynamic_cast<const Mirel::Data::ErrorValue&>(*wrong);
  EXPECT_EQ(error.ToString(), "com.tessaly.mirel.std.errors.unauthenticated");
  EXPECT_EQ(FieldNames(wrong), "messages data error_type challenge ");

  customize = [](auto*, const auto& data) {
    data->SetField("more", Mirel::Data::DataValue::Create(true));
    return false;
  };
  for (const auto& other : {LogIn("u", "right u"), LogIn("", "")})
    EXPECT_EQ(FieldNames(other), FieldNames(wrong));
  EXPECT_EQ(Ask({{Security::kSchemeIdKey, Security::kUserPassScheme}}).value()->type(), wrong->type())
      << "who names the scheme is not anonymous";
}

}  // namespace
}  // namespace SarnMirel::Authn
