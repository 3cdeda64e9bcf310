#include "fleet/stream/element.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "fleet/stream/call.h"
#include "fleet/stream/frameReader.h"

namespace {

using Fleet::IdentityOf;
using Fleet::ReadElement;

std::string Json(const std::string& members) {
  return R"({"payload":"AAH/","topic":"a.b","vm_id_type":"MGR_VM_ID")" + members + "}";
}

TEST(ElementTest, IsReadWithTheBytesOfItsPayload) {
  const auto json =
      Json(R"(,"mgr_vm_id":"web","create_time":"2026-11-24T21:15:00Z","token":"t\u0000","history":true)");
  const auto element = ReadElement(json);
  EXPECT_EQ(element.json, json);
  EXPECT_EQ(element.vm, "web");
  EXPECT_EQ(element.topic, "a.b");
  EXPECT_EQ(element.createTime, "2026-11-24T21:15:00Z");
  EXPECT_EQ(element.token, std::string("t\0", 2));
  EXPECT_EQ(element.payload, std::string("\0\1\xff", 3));
  EXPECT_TRUE(element.history);
  EXPECT_EQ(ReadElement(Json(R"(,"bios_uuid":"b")")).vm, "b");
  EXPECT_EQ(ReadElement(Json(R"(,"vm_uuid":"u")")).vm, "u");
}

TEST(ElementTest, IsNothingElse) {
  const std::string deep(100000, '[');
  for (const auto& json :
       {std::string(), std::string("[]"), std::string("{}"), deep, Json(""), Json(R"(,"mgr_vm_id":7)"),
        Json(R"(,"mgr_vm_id":"w","token":{})"), Json(R"(,"mgr_vm_id":"w","history":"yes")"),
        std::string(R"({"payload":"AA=A","topic":"a","mgr_vm_id":"w"})"),
        std::string(R"({"payload":"","topic":"a","mgr_vm_id":"w"}x)")}) {
    EXPECT_THROW(ReadElement(json), std::runtime_error) << json.substr(0, 100);
  }
}

TEST(ElementTest, HasTheIdentityOfItsCopiesAlone) {
  Fleet::Element element;
  element.vm = "a";
  element.topic = "b";
  element.createTime = "c";
  element.token = "d";
  element.payload = "e";
  const auto identity = IdentityOf(element);
  auto copy = element;
  copy.history = true;
  copy.json = "{}";
  EXPECT_EQ(IdentityOf(copy), identity);
  EXPECT_EQ(identity.find_first_not_of("0123456789abcdef"), std::string::npos);
  std::set<std::string> all{identity};
  for (auto part : {&Fleet::Element::vm, &Fleet::Element::topic, &Fleet::Element::createTime,
                    &Fleet::Element::token, &Fleet::Element::payload}) {
    auto other = element;
    other.*part = "";
    all.insert(IdentityOf(other));
  }
  // The same bytes, cut elsewhere.
  auto shifted = element;
  shifted.vm = "ab";
  shifted.topic = "";
  all.insert(IdentityOf(shifted));
  EXPECT_EQ(all.size(), 7);
  for (const auto& one : all) EXPECT_EQ(one.size(), 32);
}

TEST(FrameReaderTest, CutsFramesHoweverTheyCome) {
  const std::string stream = "2\r\n{}\r\n0\r\n\r\n00A\r\n\"12345\r\n\"\r\r\n";
  Fleet::FrameReader frames;
  std::vector<std::string> texts;
  for (const char byte : stream) {
    frames.Feed({&byte, 1});
    while (const auto text = frames.Next()) texts.push_back(*text);
  }
  EXPECT_EQ(texts, (std::vector<std::string>{"{}", "", "\"12345\r\n\"\r"}));
}

TEST(FrameReaderTest, RefusesWhatIsNoFrame) {
  for (const char* bytes :
       {"-1\r\n", " 2\r\n{}\r\n", "0x2\r\n{}\r\n", "\r\n", "2;\r\n{}\r\n", "1000001\r\n", "2\r\n{}..",
        "ffffffffffffffff\r\n", "11111111111111111", "{", "{\"jsonrpc\":\"2.0\"}"}) {
    Fleet::FrameReader frames;
    frames.Feed(bytes);
    EXPECT_THROW(frames.Next(), Fleet::CallFault) << bytes;
  }
}

}  // namespace
