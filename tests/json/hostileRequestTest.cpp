#include <gtest/gtest.h>

#include "testing/jsonRequest.h"

namespace {

using Testing::Deserialize;
using Testing::RequestWithInput;
using Testing::Understood;

constexpr std::size_t kBodyLimit = 2500000;

// A list or object of as many parts as a body can hold.
std::string Filled(std::string text, std::string_view part, char end) {
  while (text.size() + part.size() < kBodyLimit - 100) text += part;
  return text + end;
}

void ExpectRefused(const std::string& text, std::string_view reason) {
  Understood request;
  const auto error = Deserialize(text, request);
  ASSERT_TRUE(error);
  EXPECT_NE(error->ToString().find(reason), std::string::npos) << error->ToString().substr(0, 300);
  EXPECT_LT(error->ToString().size(), 500U) << "the sender's own text comes back in full";
}

TEST(HostileRequestTest, NestingEndsAtTheLimit) {
  const std::string opened(kBodyLimit, '[');
  ExpectRefused(opened, "more than 64 levels");
  std::string objects;
  while (objects.size() < kBodyLimit) objects += R"({"a":)";
  ExpectRefused(objects, "more than 64 levels");

  const auto nested = [](std::size_t depth) {
    return RequestWithInput(std::string(depth, '[') + std::string(depth, ']'));
  };
  Understood request;
  EXPECT_FALSE(Deserialize(nested(62), request)) << "with the request and its params, 64";
  ExpectRefused(nested(63), "more than 64 levels");
}

TEST(HostileRequestTest, NumberOfValuesIsBounded) {
  ExpectRefused(RequestWithInput(Filled("[1", ",1", ']')), "more than 32768 values");
  ExpectRefused(RequestWithInput(Filled(R"({"a":"")", R"(,"":"")", '}')), "more than 32768 values");
}

// This took minutes when the work for a value grew with the names around it.
TEST(HostileRequestTest, ManyMembersAndLongNamesAreReadInOneGo) {
  std::string list = "{\"" + std::string(kBodyLimit * 3 / 4, 'k') + "\":[1";
  for (int i = 0; i < 32000; ++i) list += ",1";
  Understood request;
  EXPECT_FALSE(Deserialize(RequestWithInput(list + "]}"), request));
}

TEST(HostileRequestTest, ErrorsStayShort) {
  const std::string name(kBodyLimit / 2, 'n');
  const std::string head = R"({"jsonrpc":"2.0","id":1,"method":"a.b","params":)";
  ExpectRefused(head + "{\"" + name + "\":1}}", "unknown member");
  ExpectRefused(head + R"({"ctx":{"appCtx":{")" + name + R"(":1}}}})", "not a string");
  ExpectRefused(RequestWithInput("{\"" + name + R"(":{"blob":"?"}})"), "invalid base64");
  ExpectRefused(RequestWithInput("{\"" + name + "\":1,\"" + name + "\":2}"), "given twice");
}

}  // namespace
