#include "guest/agent/intake/request.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "guest/agent/intake/topic.h"
#include "guest/link/base64.h"
#include "platform/corvane/dateTime.h"

namespace GuestAgent {
namespace {

enum Member : std::size_t { kTopic, kPayload, kBase64, kClass, kToken, kCategory, kCreateTime, kMembers };
constexpr std::array<std::string_view, kMembers> kMemberNames{"topic", "payload",  "base64",    "class",
                                                              "token", "category", "createTime"};

using Texts = std::array<std::optional<std::string>, kMembers>;

// Takes one object of texts, and ends at the first thing that is anything else: so nobody can have lists and
// objects made without end.
class RequestHandler final : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, RequestHandler> {
 public:
  bool Default() { return Fail(inObject_ ? "a member is no text" : "it is no object"); }
  bool StartObject() { return std::exchange(inObject_, true) ? Fail("a member is no text") : true; }
  bool EndObject(rapidjson::SizeType) { return true; }

  bool Key(const char* text, rapidjson::SizeType size, bool) {
    const auto name = std::find(kMemberNames.begin(), kMemberNames.end(), std::string_view(text, size));
    if (name == kMemberNames.end()) return Fail("it has an unknown member");
    member_ = static_cast<std::size_t>(name - kMemberNames.begin());
    return !texts_[member_] || Fail("a member is there twice");
  }
  bool String(const char* text, rapidjson::SizeType size, bool) {
    if (!inObject_) return Default();
    texts_[member_].emplace(text, size);
    return true;
  }

  Texts& GetTexts() { return texts_; }
  // Empty if it was the JSON that was at fault.
  const std::string& Reason() const { return reason_; }

 private:
  bool Fail(const char* reason) {
    reason_ = reason;
    return false;
  }

  bool inObject_ = false;
  std::size_t member_ = 0;
  Texts texts_;
  std::string reason_;
};

Refusal BadRequest(const std::string& reason) {
  return {Fault::Request, reason};
}

bool HasControl(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; });
}

std::variant<Item, Refusal> MakeItem(Texts& texts) {
  if (!texts[kTopic]) return BadRequest("it has no topic");
  if (!IsTopic(*texts[kTopic])) {
    return Refusal{
        Fault::Topic,
        "a topic is words of letters, digits, '_' and '-' with dots between them, 255 bytes long at most"};
  }
  if (texts[kPayload].has_value() == texts[kBase64].has_value()) {
    return BadRequest("it has to have one of payload and base64");
  }
  Item item;
  item.publication = {texts[kCreateTime] ? std::move(*texts[kCreateTime]) : GuestLink::CurrentTime(),
                      std::move(*texts[kTopic]), std::move(texts[kToken]).value_or(""),
                      std::move(texts[kCategory]).value_or("data"), std::move(texts[kPayload]).value_or("")};
  const auto kind = texts[kClass].value_or("event");
  if (kind != "event" && kind != "latest") return BadRequest("its class is neither event nor latest");
  item.isLatest = kind == "latest";
  if (!Corvane::System::DateTime::IsRfc3339(item.publication.createTime)) {
    return BadRequest("its createTime is no date and time of RFC 3339");
  }
  if (HasControl(item.publication.token) || HasControl(item.publication.category)) {
    return BadRequest("its token or category has a control character");
  }
  if (texts[kBase64] && !GuestLink::DecodeBase64(*texts[kBase64], item.publication.payload)) {
    return BadRequest("its base64 is none");
  }
  return item;
}

}  // namespace

std::variant<Item, Refusal> ReadRequest(std::string_view text) {
  RequestHandler handler;
  rapidjson::Reader reader;
  rapidjson::MemoryStream stream(text.data(), text.size());
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  const auto result = reader.Parse<kFlags>(stream, handler);
  if (result.IsError()) {
    return BadRequest(handler.Reason().empty()
                          ? std::string("it is no JSON: ") + rapidjson::GetParseError_En(result.Code())
                          : handler.Reason());
  }
  // To the parser a zero byte is the end.
  if (stream.Tell() != text.size()) return BadRequest("it has a zero byte");
  return MakeItem(handler.GetTexts());
}

}  // namespace GuestAgent
