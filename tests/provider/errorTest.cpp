#include <gtest/gtest.h>

#include <boost/asio/error.hpp>

#include "framework/core/stdErrors.h"
#include "framework/provider/errorFactory.h"

namespace Mirel {
namespace {

namespace Errors = Com::Tessaly::Mirel::Std::Errors;

std::string OptionalText(const Data::CompoundValue& error, std::string_view field) {
  const auto value = std::dynamic_pointer_cast<const Data::OptionalValue>(error.GetField(field));
  if (!value) return "no such field";
  const auto text = std::dynamic_pointer_cast<const Data::StringValue>(value->value());
  return text ? text->value() : "absent";
}

TEST(StandardErrors, BecomeErrorValuesWithTheGivenMessages) {
  auto messages = Data::ListValue::GetInstance();
  const auto unauthorized = Data::ErrorFactory::GetError(Errors::Unauthorized(), messages);
  EXPECT_EQ(unauthorized->name(), "com.tessaly.mirel.std.errors.unauthorized");
  EXPECT_EQ(unauthorized->GetField("messages"), messages);
  EXPECT_EQ(OptionalText(*unauthorized, "error_type"), "UNAUTHORIZED");
  EXPECT_EQ(OptionalText(*unauthorized, "data"), "absent");
  EXPECT_EQ(Errors::Unauthorized().errorType.value, 21U);

  Errors::Unauthenticated native;
  EXPECT_EQ(native.errorType.value, 20U);
  EXPECT_EQ(OptionalText(*Data::ErrorFactory::GetError(native, messages), "challenge"), "absent");
  native.challenge = "Basic";
  native.errorType.raw = "SOMETHING_NEW";
  const auto unauthenticated = Data::ErrorFactory::GetError(native, messages);
  EXPECT_EQ(OptionalText(*unauthenticated, "challenge"), "Basic");
  EXPECT_EQ(OptionalText(*unauthenticated, "error_type"), "SOMETHING_NEW");
}

TEST(SystemError, CarriesTheCodesText) {
  EXPECT_EQ(MakeSystemErrorValue(std::error_code(), "mirel.send.failed"), nullptr);
  EXPECT_EQ(MakeSystemErrorValue(boost::system::error_code(), "mirel.send.failed"), nullptr);
  const boost::system::error_code reset = boost::asio::error::connection_reset;
  const auto error = MakeSystemErrorValue(reset, "mirel.send.failed");
  EXPECT_EQ(error->name(), "system_error");
  EXPECT_EQ(error->ToString(),
            "system_error: The response could not be sent: system:104 Connection reset by peer");
  const auto unknown = MakeSystemErrorValue(std::make_error_code(std::errc::broken_pipe), "no.such.id");
  EXPECT_NE(unknown->ToString().find("generic:32 Broken pipe"), std::string::npos);
}

}  // namespace
}  // namespace Mirel
