#include "guest/link/publicationText.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>

#include "guest/link/base64.h"
#include "lib/public/api/topicFilter.h"
#include "platform/corvane/dateTime.h"

namespace GuestLink {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void Member(JsonWriter& writer, const char* name, const std::string& value) {
  writer.Key(name);
  writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

const rapidjson::Value* Find(const rapidjson::Document& document, const char* name) {
  const auto member = document.FindMember(name);
  return member == document.MemberEnd() ? nullptr : &member->value;
}

}  // namespace

std::string CurrentTime() {
  return Corvane::System::GetUtcDateTime().ToShortStringBias();
}

std::string PublicationText(const Publication& publication, std::uint64_t sequence,
                            const std::vector<std::uint64_t>& subscribers) {
  rapidjson::StringBuffer text;
  JsonWriter writer(text);
  writer.StartObject();
  writer.Key("header");
  writer.StartObject();
  writer.Key("sequence");
  writer.Uint64(sequence);
  Member(writer, "createTime", publication.createTime);
  Member(writer, "topic", publication.topic);
  Member(writer, "token", publication.token);
  if (!subscribers.empty()) {
    writer.Key("subscribers");
    writer.StartArray();
    for (const std::uint64_t id : subscribers) writer.Uint64(id);
    writer.EndArray();
  }
  writer.EndObject();
  writer.Key("payload");
  writer.StartObject();
  Member(writer, "category", publication.category);
  Member(writer, "base64", EncodeBase64(publication.payload));
  writer.EndObject();
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

bool HistoryRequest::Takes(std::string_view topic) const {
  return topicPrefixes.empty() || NornHesper::TopicMatches(topic, topicPrefixes);
}

std::optional<HistoryRequest> ReadHistoryRequest(const std::string& text) {
  rapidjson::Document document;
  // A subscriber's words may open any number of lists, which must not take the stack.
  if (document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size()).HasParseError() ||
      !document.IsObject()) {
    return std::nullopt;
  }
  const auto* pastSeconds = Find(document, "pastSeconds");
  const auto* id = Find(document, "id");
  if (pastSeconds == nullptr || !pastSeconds->IsUint64() || id == nullptr || !id->IsUint64()) {
    return std::nullopt;
  }
  HistoryRequest request{pastSeconds->GetUint64(), id->GetUint64(), {}};
  if (const auto* prefixes = Find(document, "topicPrefixes")) {
    if (!prefixes->IsArray()) return std::nullopt;
    for (const auto& prefix : prefixes->GetArray()) {
      if (!prefix.IsString()) return std::nullopt;
      request.topicPrefixes.emplace_back(prefix.GetString(), prefix.GetStringLength());
    }
    std::sort(request.topicPrefixes.begin(), request.topicPrefixes.end());
  }
  return request;
}

}  // namespace GuestLink
