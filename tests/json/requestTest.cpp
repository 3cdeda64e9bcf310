#include <gtest/gtest.h>

#include "testing/jsonRequest.h"

namespace {

using namespace Mirel;
using Testing::Deserialize;
using Testing::RequestWithInput;
using Testing::Understood;

TEST(RequestTest, EnvelopeReachesTheVisitor) {
  Understood request;
  ASSERT_FALSE(Deserialize(
      R"( {"method":"com.tessaly.svc.op","id":"a\"\n","jsonrpc":"2.0","params":{"ctx":{)"
      R"("appCtx":{"opId":"o","timezone":"Etc/UTC"},"securityCtx":{"schemeId":"s","password":"\u00e9"}}}} )",
      request));
  EXPECT_EQ(request.method->service, "com.tessaly.svc");
  EXPECT_EQ(request.method->operation, "op");
  EXPECT_EQ(request.id, R"("a\"\n")");
  EXPECT_EQ(request.context->applicationContext.at("opId"), "o");
  EXPECT_EQ(request.context->securityContext.at("password").text(), "\u00e9");
  EXPECT_EQ(request.input->type(), Data::DataType::Structure) << "no input means no arguments";
}

TEST(RequestTest, IdentifiersComeBackAsTheyCame) {
  for (const std::string id : {"7", "-3", "18446744073709551615", "null", R"("")", R"("\u0001é")"}) {
    Understood request;
    ASSERT_FALSE(Deserialize(R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":"a.b"})", request)) << id;
    EXPECT_EQ(request.id, id);
  }
}

TEST(RequestTest, EachFaultIsNamed) {
  const std::string head = R"({"jsonrpc":"2.0","id":1,"method":"a.b")";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "parse_error"},
      {"nul", "parse_error"},
      {head + "} x", "parse_error"},
      {head + "}" + std::string("\0{", 2), "parse_error"},
      {head + ",\"x\":\"\xC3\"}", "parse_error"},
      {head + R"(,"x":"\ud800"})", "parse_error"},
      {head + R"(,"x":1e999})", "parse_error"},
      {head + R"(,"x":1.9e308})", "a number out of range at byte 43"},
      {"[" + head + "}]", "batches"},
      {"7", "not an object"},
      {R"({"id":1,"method":"a.b"})", "jsonrpc"},
      {R"({"jsonrpc":2.0,"id":1,"method":"a.b"})", "jsonrpc"},
      {R"({"jsonrpc":"2.0","method":"a.b"})", "id is missing"},
      {R"({"jsonrpc":"2.0","id":[],"method":"a.b"})", "id is neither"},
      {R"({"jsonrpc":"2.0","id":")" + std::string(1025, 'i') + R"(","method":"a.b"})", "id is longer"},
      {R"({"jsonrpc":"2.0","id":1})", "method"},
      {R"({"jsonrpc":"2.0","id":1,"method":"ab"})", "SERVICE.OPERATION"},
      {R"({"jsonrpc":"2.0","id":1,"method":".b"})", "SERVICE.OPERATION"},
      {R"({"jsonrpc":"2.0","id":1,"method":"a."})", "SERVICE.OPERATION"},
      {head + R"(,"params":[1]})", "params is not an object"},
      {head + R"(,"params":{"spec":1}})", "unknown member: spec"},
      {head + R"(,"params":{"ctx":{"appCtx":{"opId":1}}}})", "appCtx.opId is not a string"},
      {head + R"(,"params":{"ctx":{"securityCtx":"root"}}})", "securityCtx is not an object"},
      {head + R"(,"method":"c.d"})", "given twice: method"},
      {head + R"(,"params":{"ctx":{"securityCtx":{"token":"a","token":"b"}}}})", "given twice: token"},
      {RequestWithInput(R"({"a":{"b":1,"c":2,"b":3}})"), "given twice: b"},
      {RequestWithInput(R"({"a":[0,{"blob":"x"}]})"), "params.input.a[1]: invalid base64"},
      {RequestWithInput(R"({"optional":[1,2]})"), "one value at most"},
  };
  for (const auto& [text, expected] : cases) {
    Understood request;
    const auto error = Deserialize(text, request);
    ASSERT_TRUE(error) << text;
    EXPECT_NE(error->ToString().find(expected), std::string::npos) << text << " gave " << error->ToString();
    EXPECT_EQ(request.calls, 0);
  }
}

TEST(RequestTest, VisitorsRefusalBecomesTheError) {
  Understood request;
  request.refusal = std::make_error_code(std::errc::operation_not_permitted);
  const auto error = Deserialize(RequestWithInput("{}"), request);
  ASSERT_TRUE(error);
  EXPECT_EQ(request.calls, 1);
  EXPECT_NE(error->ToString().find(request.refusal.message()), std::string::npos);
}

TEST(RequestTest, PlainJsonBecomesUntypedValues) {
  Understood request;
  const auto error = Deserialize(
      RequestWithInput(R"({"n":null,"i":-9223372036854775808,"u":9223372036854775808,"d":1.0,"l":[true]})"),
      request);
  ASSERT_FALSE(error);
  const auto& input = dynamic_cast<const Data::StructValue&>(*request.input);
  EXPECT_EQ(input.name(), "");
  EXPECT_FALSE(dynamic_cast<const Data::OptionalValue&>(*input.GetField("n")).value());
  EXPECT_EQ(dynamic_cast<const Data::IntegerValue&>(*input.GetField("i")).value(), INT64_MIN);
  EXPECT_EQ(input.GetField("u")->type(), Data::DataType::Double);
  EXPECT_EQ(input.GetField("d")->type(), Data::DataType::Double);
  EXPECT_EQ(dynamic_cast<const Data::ListValue&>(*input.GetField("l")).elements().size(), 1U);
}

}  // namespace
