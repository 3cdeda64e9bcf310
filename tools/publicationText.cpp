#include "tools/publicationText.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <charconv>

#include "platform/corvane/crypto.h"

namespace Tools {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

void Member(JsonWriter& writer, const char* name, const std::string& value) {
  writer.Key(name);
  writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

// Takes the line from the front of the text, if it is there.
bool TakeLine(std::string_view& text, std::string_view line) {
  if (!text.starts_with(line)) return false;
  text.remove_prefix(line.size());
  return true;
}

template <typename Number>
bool TakeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

const rapidjson::Value* Find(const rapidjson::Document& document, const char* name) {
  const auto member = document.FindMember(name);
  return member == document.MemberEnd() ? nullptr : &member->value;
}

}  // namespace

std::string PublicationText(const Publication& publication, std::uint64_t sequence,
                            const std::vector<std::uint64_t>& subscribers) {
  std::string base64;
  Base64_Encode(publication.payload.data(), publication.payload.size(), base64);
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
  Member(writer, "base64", base64);
  writer.EndObject();
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

std::optional<Acknowledgement> ReadAcknowledgement(std::string_view text) {
  Acknowledgement acknowledgement;
  const auto rate = text.rfind("\"rateLimit\":");
  if (rate == std::string_view::npos) return std::nullopt;
  std::string_view end = text.substr(rate);
  if (!TakeLine(end, "\"rateLimit\":") || !TakeNumber(end, acknowledgement.rateLimit) || end != "\n}") {
    return std::nullopt;
  }
  if (!TakeLine(text, "{\n")) return std::nullopt;
  if (TakeLine(text, "\"sequence\":")) {
    std::uint64_t sequence = 0;
    if (!TakeNumber(text, sequence) || !TakeLine(text, ",\n")) return std::nullopt;
    acknowledgement.sequence = sequence;
  }
  acknowledgement.accepted = TakeLine(text, "\"status\":\"ok\",\n");
  if (!acknowledgement.accepted && !TakeLine(text, "\"status\":\"bad\",\n")) return std::nullopt;
  return acknowledgement;
}

bool HistoryRequest::Takes(std::string_view topic) const {
  if (topicPrefixes.empty()) return true;
  return std::any_of(topicPrefixes.begin(), topicPrefixes.end(), [&](const std::string& prefix) {
    return topic.starts_with(prefix) && (topic.size() == prefix.size() || topic[prefix.size()] == '.');
  });
}

std::optional<HistoryRequest> ReadHistoryRequest(const std::string& text) {
  rapidjson::Document document;
  if (document.Parse(text.data(), text.size()).HasParseError() || !document.IsObject()) return std::nullopt;
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
  }
  return request;
}

}  // namespace Tools
