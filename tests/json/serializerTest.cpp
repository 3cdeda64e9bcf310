#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cmath>
#include <limits>

#include "testing/jsonRequest.h"

namespace {

using namespace Mirel;
using Core::MethodResult;
using Data::DataValue;
using Data::DataValuePtr;
using Testing::Answer;
using Testing::Deserialize;
using Testing::Direct;
using Testing::RequestWithInput;
using Testing::Typed;
using Testing::Understood;

DataValuePtr Optional(DataValuePtr value) {
  return std::make_shared<Data::OptionalValue>(std::move(value));
}

// One of each kind of value.
std::shared_ptr<const Data::StructValue> Everything() {
  auto list = Data::ListValue::GetInstance();
  list->Add(DataValue::Create(std::int64_t{-7}));
  list->Add(Optional(nullptr));
  auto value = Data::StructValue::GetInstance("a.B");
  value->AppendField("list", list);
  value->AppendField("absent", Optional(nullptr));
  value->AppendField("present", Optional(DataValue::Create("x")));
  value->AppendField("twice", Optional(Optional(nullptr)));
  value->AppendField("double", DataValue::Create(2.0));
  value->AppendField("flag", DataValue::Create(true));
  value->AppendField("bytes", Data::BlobValue::Create({'h', 'i'}));
  value->AppendField("secret", std::make_shared<Data::SecretValue>("s"));
  // Looks like a typed form.
  auto alone = Data::StructValue::GetInstance("a.C");
  alone->AppendField("blob", DataValue::Create("no"));
  value->AppendField("alone", alone);
  value->AppendField("error", Data::ErrorValue::Create("e.rror", {}));
  return value;
}

DataValuePtr ReadBack(const std::string& answer) {
  constexpr std::string_view kHead = R"({"jsonrpc":"2.0","id":1,"result":)";
  EXPECT_TRUE(answer.starts_with(kHead));
  Understood request;
  const auto error =
      Deserialize(RequestWithInput(answer.substr(kHead.size(), answer.size() - kHead.size() - 1)), request);
  EXPECT_FALSE(error) << error->ToString();
  return request.input;
}

TEST(SerializerTest, TypedFormIsReadBackExactly) {
  const auto text = Answer<Typed>(MethodResult::GetInstance(Everything()));
  EXPECT_EQ(text,
            R"({"jsonrpc":"2.0","id":1,"result":{"structure":"a.B","fields":{"list":[-7,{"optional":[]}],)"
            R"("absent":{"optional":[]},"present":{"optional":["x"]},"twice":{"optional":[{"optional":[]}]},)"
            R"("double":2.0,"flag":true,"bytes":{"blob":"aGk="},"secret":{"secret":"s"},)"
            R"("alone":{"structure":"a.C","fields":{"blob":"no"}},)"
            R"("error":{"error":"e.rror","fields":{"messages":[]}}}}})");
  const auto back = ReadBack(text);
  ASSERT_TRUE(back);
  EXPECT_EQ(Answer<Typed>(MethodResult::GetInstance(back)), text);
  const auto& structure = dynamic_cast<const Data::StructValue&>(*back);
  const auto bytes = dynamic_cast<const Data::BlobValue&>(*structure.GetField("bytes")).bytes();
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "hi");
  EXPECT_EQ(structure.GetField("error")->type(), Data::DataType::Error);
  EXPECT_EQ(structure.GetField("secret")->type(), Data::DataType::Secret);
}

TEST(SerializerTest, DoublesAreReadBackToTheLastBit) {
  for (const double number : {0.1, -0.0, 1e23, 1.7976931348623157e308, 5e-324, 2.2250738585072011e-308,
                              123456789.12345679, 9007199254740993.0, 1844674407370955161580.0, 1e300}) {
    const auto back = ReadBack(Answer<Typed>(MethodResult::GetInstance(DataValue::Create(number))));
    const auto* read = dynamic_cast<const Data::DoubleValue*>(back.get());
    ASSERT_TRUE(read) << number;
    EXPECT_EQ(read->value(), number);
    EXPECT_EQ(std::signbit(read->value()), std::signbit(number));
  }
  const auto nan = DataValue::Create(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(Answer<Direct>(MethodResult::GetInstance(nan)), R"({"jsonrpc":"2.0","id":1,"result":null})");
}

TEST(SerializerTest, DirectFormIsPlain) {
  EXPECT_EQ(
      Answer<Direct>(MethodResult::GetInstance(Everything()), R"("i")"),
      R"({"jsonrpc":"2.0","id":"i","result":{"list":[-7,null],"present":"x","twice":null,"double":2.0,)"
      R"("flag":true,"bytes":"aGk=","secret":"s","alone":{"blob":"no"},"error":{"error":"e.rror","messages":[]}}})");
}

TEST(SerializerTest, ErrorsHaveTheNumbersOfTheProtocol) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"parse_error", "-32700"},      {"invalid_request", "-32600"},  {"operation_not_found", "-32601"},
      {"invalid_argument", "-32602"}, {"unexpected_input", "-32602"}, {"unauthorized", "-32000"}};
  for (const auto& [name, code] : cases) {
    const auto error = Data::ErrorValue::Create("com.tessaly.mirel.std.errors." + name, {{"m", "why", {}}});
    const auto text = Answer<Direct>(MethodResult::GetErrorInstance(error));
    EXPECT_NE(text.find("\"error\":{\"code\":" + code + ","), std::string::npos) << text;
    EXPECT_NE(text.find(R"("data":{"error":"com.tessaly.mirel.std.errors.)" + name), std::string::npos);
  }
  ORange out;
  std::shared_ptr<const ErrorValue> failure;
  Typed().SerializeError(Data::ErrorValue::Create("e", {}), out, failure);
  EXPECT_EQ(out.ToString(), R"({"jsonrpc":"2.0","id":null,"error":{"code":-32000,"message":"e",)"
                            R"("data":{"error":"e","fields":{"messages":[]}}}})");
}

TEST(SerializerTest, WhateverAStringHoldsTheAnswerIsOneLineOfValidJson) {
  const std::string bad = "\xEF\xBF\xBD";
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"plain", "plain"},
      {std::string("\0\n\r\t\x1f\x7f\"\\/", 9), std::string("\0\n\r\t\x1f\x7f\"\\/", 9)},
      {"é€😀", "é€😀"},
      {"a\xFF"
       "b",
       "a" + bad + "b"},
      {"\xE2\x82", bad + bad},
      {"\xC0\xAF", bad + bad},
      {"\xED\xA0\x80", bad + bad + bad},
      {"\xF4\x90\x80\x80", bad + bad + bad + bad},
      {"\xE0\x9F\xBF", bad + bad + bad},
      {"\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
      {"\xC3\n", bad + "\n"},
  };
  for (const auto& [text, expected] : cases) {
    const auto answer = Answer<Direct>(MethodResult::GetInstance(DataValue::Create(text)));
    EXPECT_EQ(answer.find('\n'), std::string::npos);
    rapidjson::Document document;
    document.Parse<rapidjson::kParseValidateEncodingFlag>(answer.data(), answer.size());
    ASSERT_FALSE(document.HasParseError()) << answer;
    EXPECT_EQ(std::string(document["result"].GetString(), document["result"].GetStringLength()), expected);
  }
}

// The structure that all answers of one element carry, in both forms; one of its texts is large.
TEST(SerializerTest, KeptTextsAreWhatIsWrittenWithoutThem) {
  const auto make = [](bool keeps) {
    auto value = Data::StructValue::GetInstance("s");
    value->SetField("small", DataValue::Create("x\xFFy"));
    value->SetField("large", Data::BlobValue::Create(std::vector<unsigned char>(9000, 7)));
    if (keeps) value->KeepTexts();
    return MethodResult::GetInstance(value);
  };
  const auto plain = make(false);
  const auto kept = make(true);
  for (const char* id : {"1", R"("a longer one")", "1"}) {
    EXPECT_EQ(Answer<Direct>(kept, id), Answer<Direct>(plain, id));
    EXPECT_EQ(Answer<Typed>(kept, id), Answer<Typed>(plain, id));
  }
  ORange first;
  ORange second;
  std::shared_ptr<const ErrorValue> error;
  Direct().SerializeInvoke("1", kept, first, error, true);
  Direct().SerializeInvoke("22", kept, second, error, true);
  EXPECT_EQ(first.Segments()[1].data(), second.Segments()[1].data()) << "written once";
}

TEST(SerializerTest, LargePayloadIsSharedAndKeptAlive) {
  auto payload = std::make_shared<std::string>(100000, 'A');
  const char* const place = payload->data();
  ORange out;
  std::shared_ptr<const ErrorValue> error;
  {
    const auto blob = std::make_shared<Data::BlobValue>(payload, std::span<const unsigned char>(), *payload);
    Direct().SerializeInvoke("1", MethodResult::GetInstance(blob), out, error, true);
  }
  payload.reset();
  bool shared = false;
  for (const auto segment : out.Segments()) shared = shared || segment.data() == place;
  EXPECT_TRUE(shared);
  EXPECT_EQ(out.ToString(), R"({"jsonrpc":"2.0","id":1,"result":")" + std::string(100000, 'A') + "\"}");
}

}  // namespace
