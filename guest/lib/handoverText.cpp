#include "guest/lib/handoverText.h"

#include <rapidjson/document.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace HesperGuest {
namespace {

// A publication without texts of its own.
constexpr std::string_view kBarePublication =
    R"({"header":{"sequence":1,"createTime":"2026-11-25T19:00:00Z","topic":"","token":""},)"
    R"("payload":{"category":"","base64":""}})";
constexpr const char* kUsualCategory = "data";

constexpr std::pair<std::string_view, int> kRefusals[] = {
    {"request", -EPROTO}, {"topic", -EINVAL}, {"permission", -EACCES},
    {"size", -EMSGSIZE},  {"full", -ENOBUFS}, {"rate", -EAGAIN},
};

// RFC 4648, section 4.
constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::size_t Base64Size(std::size_t size) {
  return (size + 2) / 3 * 4;
}

void AppendBase64(std::string& text, const unsigned char* bytes, std::size_t size) {
  for (std::size_t at = 0; at < size; at += 3) {
    const std::size_t count = std::min<std::size_t>(size - at, 3);
    unsigned group = 0;
    for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0U);
    for (std::size_t i = 0; i < 4; ++i) text += i <= count ? kBase64[group >> (18 - 6 * i) & 63] : '=';
  }
}

std::size_t Length(const char* text) {
  return text != nullptr ? std::strlen(text) : 0;
}

// A string as the JSON library's stream.
struct StringSink {
  using Ch = char;
  void Put(char character) { text.push_back(character); }
  void Flush() {}

  std::string& text;
};

using CheckingWriter = rapidjson::Writer<StringSink, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                         rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;

// What the JSON library calls sizes.
rapidjson::SizeType Size(std::size_t size) {
  return static_cast<rapidjson::SizeType>(size);
}

// An absent text is no member. False if it is no UTF-8.
bool Member(CheckingWriter& writer, const char* name, const char* text) {
  return text == nullptr || (writer.Key(name) && writer.String(text, Size(std::strlen(text))));
}

const rapidjson::Value* Find(const rapidjson::Value& object, const char* name) {
  const auto member = object.FindMember(name);
  return member == object.MemberEnd() ? nullptr : &member->value;
}

std::string_view TextOf(const rapidjson::Value* value) {
  if (value == nullptr || !value->IsString()) return {};
  return {value->GetString(), value->GetStringLength()};
}

}  // namespace

bool IsShort(const hesper_item& item) {
  if (item.length > HESPER_LARGEST_TEXT) return false;
  const char* category = item.category != nullptr ? item.category : kUsualCategory;
  return kBarePublication.size() + Length(item.topic) + Length(item.token) + Length(category) +
             Base64Size(item.length) <=
         HESPER_LARGEST_TEXT;
}

bool WriteItem(const hesper_item& item, std::string& datagram) {
  datagram.clear();
  datagram.reserve(Base64Size(item.length) + kBarePublication.size());
  StringSink sink{datagram};
  CheckingWriter writer(sink);
  writer.StartObject();
  const bool isText = Member(writer, "topic", item.topic != nullptr ? item.topic : "") &&
                      Member(writer, "token", item.token) && Member(writer, "category", item.category) &&
                      Member(writer, "createTime", item.create_time) &&
                      Member(writer, "class", item.latest != 0 ? "latest" : nullptr);
  if (!isText) return false;
  writer.EndObject();
  // What base64 consists of needs no escapes, and no second copy.
  datagram.back() = ',';
  datagram += "\"base64\":\"";
  AppendBase64(datagram, static_cast<const unsigned char*>(item.payload), item.length);
  datagram += "\"}";
  return true;
}

Answer Refused(std::string_view refusal, std::string_view diagnosis) {
  const auto* known = std::find_if(std::begin(kRefusals), std::end(kRefusals),
                                   [&](const auto& entry) { return entry.first == refusal; });
  return {known != std::end(kRefusals) ? known->second : -EPROTO, 0, std::string(refusal),
          std::string(diagnosis)};
}

bool ReadAnswer(std::string_view text, Answer& answer) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                         text.size());
  if (document.HasParseError() || !document.IsObject()) return false;
  const auto status = TextOf(Find(document, "status"));
  const auto refusal = TextOf(Find(document, "error"));
  const auto* sequence = Find(document, "sequence");
  if (status == "kept" && sequence != nullptr && sequence->IsUint64()) {
    answer = {0, sequence->GetUint64(), {}, {}};
    return true;
  }
  if (status != "refused" || refusal.empty()) return false;
  answer = Refused(refusal, TextOf(Find(document, "diagnosis")));
  return true;
}

}  // namespace HesperGuest
