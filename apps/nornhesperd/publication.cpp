#include "apps/nornhesperd/publication.h"

#include <cstring>
#include <utility>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "platform/corvane/crypto.h"

namespace NornHesper {
namespace {

using Corvane::Detail::ASPrintInternal;

constexpr std::size_t kParseStackBytes = 1024;
constexpr std::size_t kPoolChunkBytes = 1024;

// A copy for the parser to change. It is NUL-terminated and ends at a border of 16 bytes, as the parser reads
// whole blocks of that size.
std::unique_ptr<char[]> CopyForParser(const std::string& text) {
  constexpr std::size_t kBlock = 16;
  static_assert(__STDCPP_DEFAULT_NEW_ALIGNMENT__ % kBlock == 0);
  const std::size_t capacity = (text.size() / kBlock + 1) * kBlock;
  auto copy = std::make_unique_for_overwrite<char[]>(capacity);
  std::memcpy(copy.get(), text.data(), text.size());
  std::memset(copy.get() + text.size(), 0, capacity - text.size());
  return copy;
}

// Null when the value is no object or has no such member; the first one when it has several.
const rapidjson::Value* Find(const rapidjson::Value& object, const char* name) {
  if (!object.IsObject()) return nullptr;
  const auto member = object.FindMember(name);
  return member == object.MemberEnd() ? nullptr : &member->value;
}

std::string_view ToView(const rapidjson::Value& text) {
  return {text.GetString(), text.GetStringLength()};
}

rapidjson::Value::StringRefType ToReference(std::string_view text) {
  return {text.data(), static_cast<rapidjson::SizeType>(text.size())};
}

}  // namespace

Publication::Publication(const char* bytes, std::size_t length, const CidInfoPtr& sender)
    : text(bytes, length),
      cidInfo(sender),
      parsePool_(parseNodes_.data(), parseNodes_.size(), kPoolChunkBytes),
      document(&parsePool_, kParseStackBytes) {}

Result Publication::Parse() {
  std::string diagnosis = ReadText();
  if (diagnosis.empty()) diagnosis = ReadHeader();
  if (diagnosis.empty()) diagnosis = CheckSchema();
  if (diagnosis.empty()) diagnosis = ReadFields();
  Result result;
  if (diagnosis.empty()) {
    KeepWhatIsReadLater();
    fault = PublicationFault::None;
    parsed = true;
  } else {
    HESPER_FAIL(result, kErrorPublication, "%1", diagnosis);
  }
  return result;
}

std::string Publication::ReadText() {
  fault = PublicationFault::Json;
  parseText_ = CopyForParser(text);
  // The parser's recursive form would let a guest choose how deep this thread's stack gets.
  document.ParseInsitu<rapidjson::kParseIterativeFlag>(parseText_.get());
  return document.HasParseError() ? ASPrintInternal("failed to json-parse '%1'", text) : std::string();
}

// By hand and ahead of the schema, so that a guest gets its sequence back with whatever is wrong after it.
std::string Publication::ReadHeader() {
  fault = PublicationFault::Header;
  const rapidjson::Value* header = Find(document, "header");
  if (header == nullptr) return ASPrintInternal("missing header, %1", text);
  if (!header->IsObject()) return ASPrintInternal("header not an object, %1", text);
  const rapidjson::Value* number = Find(*header, "sequence");
  if (number == nullptr) return ASPrintInternal("missing sequence, %1", text);
  if (!number->IsUint64()) return ASPrintInternal("sequence not an unsigned integer, %1", text);
  sequence = number->GetUint64();
  hasSequence = true;
  return ReadSubscribers(*header);
}

std::string Publication::ReadSubscribers(const rapidjson::Value& header) {
  const rapidjson::Value* ids = Find(header, "subscribers");
  if (ids == nullptr) return {};
  if (ids->IsUint64()) {
    subscribers.push_back(ids->GetUint64());
    return {};
  }
  if (!ids->IsArray()) return ASPrintInternal("subscribers invalid, %1", text);
  subscribers.reserve(ids->Size());
  for (const rapidjson::Value& id : ids->GetArray()) {
    if (!id.IsUint64()) return ASPrintInternal("subscriber not an unsigned integer, %1", text);
    subscribers.push_back(id.GetUint64());
  }
  return {};
}

std::string Publication::CheckSchema() {
  fault = PublicationFault::Schema;
  const auto mismatch = GlobalContext::Get()->GetPublicationSchema().Check(document);
  return mismatch ? ASPrintInternal("unmatched schema: %1(%2), doc: %3", mismatch->schemaPlace,
                                    mismatch->keyword, mismatch->documentPlace)
                  : std::string();
}

// Behind the schema: every member looked up here is there and is a string.
std::string Publication::ReadFields() {
  fault = PublicationFault::Time;
  const rapidjson::Value& header = *Find(document, "header");
  if (!Mirel::DateTime::Create(std::string(ToView(*Find(header, "createTime"))), createTime)) {
    return ASPrintInternal("invalid createTime field in %1", text);
  }
  fault = PublicationFault::Payload;
  if (!DecodePayload(ToView(*Find(*Find(document, "payload"), "base64")))) {
    return ASPrintInternal("invalid base64 encoding in %1", text);
  }
  topic_ = ToView(*Find(header, "topic"));
  token_ = ToView(*Find(header, "token"));
  return {};
}

bool Publication::DecodePayload(std::string_view base64) {
  std::vector<unsigned char> bytes(Base64_DecodedLength(base64.data(), base64.size()));
  if (!bytes.empty()) {
    base64 = base64.substr(0, base64.find('\0'));  // the text is NUL-terminated, also by an escaped NUL
    std::size_t written = 0;
    if (!Base64_Decode(base64.data(), base64.size(), bytes.data(), bytes.size(), &written)) return false;
    bytes.resize(written);
    NormalizeLastGroup(base64, bytes);
    payloadBase64_ = base64;
  }
  payload = std::move(bytes);
  return true;
}

// Bits of the last group that its padding leaves unused may hold anything; readers of our output can be
// stricter than our decoder, so they are set to zero.
void Publication::NormalizeLastGroup(std::string_view base64, const std::vector<unsigned char>& bytes) {
  const std::size_t inLastGroup = bytes.size() % 3;
  if (inLastGroup == 0) return;
  std::string lastGroup;
  Base64_Encode(bytes.data() + bytes.size() - inLastGroup, inLastGroup, lastGroup);
  const std::ptrdiff_t end = base64.data() + base64.size() - parseText_.get();
  lastGroup.copy(parseText_.get() + end - lastGroup.size(), lastGroup.size());
}

// A publication can wait for long, with many others. A text of tens of thousands of values, which nobody
// reads again, would keep ten times its length.
void Publication::KeepWhatIsReadLater() {
  if (parsePool_.Capacity() <= parseNodes_.size()) return;
  auto strings =
      std::make_unique_for_overwrite<char[]>(topic_.size() + token_.size() + payloadBase64_.size() + 3);
  char* end = strings.get();
  for (std::string_view* view : {&topic_, &token_, &payloadBase64_}) {
    const std::size_t length = view->copy(end, view->size());
    *view = {end, length};
    end += length;
    *end++ = '\0';
  }
  document.SetObject();
  parsePool_.Clear();
  parseText_ = std::move(strings);
  rapidjson::Value header(rapidjson::kObjectType);
  header.AddMember("topic", ToReference(topic_), parsePool_)
      .AddMember("token", ToReference(token_), parsePool_);
  document.AddMember("header", header, parsePool_);
}

}  // namespace NornHesper
