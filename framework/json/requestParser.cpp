#include "framework/json/requestParser.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <string>
#include <vector>

namespace Mirel::Protocol::Json {
namespace {

/// Builds the document, and stops the parser at the limits.
class BoundedBuilder {
 public:
  explicit BoundedBuilder(rapidjson::Document& document) : document_(document) {}

  bool Null() { return Counted() && document_.Null(); }
  bool Bool(bool value) { return Counted() && document_.Bool(value); }
  bool Int(int value) { return Counted() && document_.Int(value); }
  bool Uint(unsigned value) { return Counted() && document_.Uint(value); }
  bool Int64(std::int64_t value) { return Counted() && document_.Int64(value); }
  bool Uint64(std::uint64_t value) { return Counted() && document_.Uint64(value); }
  bool Double(double value) { return Counted() && document_.Double(value); }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool copy) {
    return Counted() && document_.RawNumber(text, size, copy);
  }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return Counted() && document_.String(text, size, copy);
  }
  bool Key(const char* text, rapidjson::SizeType size, bool copy) { return document_.Key(text, size, copy); }
  bool StartObject() { return Deeper() && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType size) { return --depth_, document_.EndObject(size); }
  bool StartArray() { return Deeper() && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType size) { return --depth_, document_.EndArray(size); }

  bool TooDeep() const { return depth_ > kDeepestNesting; }

 private:
  bool Counted() { return ++values_ <= kMostValues; }
  bool Deeper() { return Counted() && ++depth_ <= kDeepestNesting; }

  rapidjson::Document& document_;
  unsigned depth_ = 0;
  std::size_t values_ = 0;
};

/// What Document::Populate asks for: something that fills it by its events.
class Generator {
 public:
  explicit Generator(std::string_view text) : text_(text) {}

  bool operator()(rapidjson::Document& document) {
    rapidjson::MemoryStream stream(text_.data(), text_.size());
    BoundedBuilder builder(document);
    rapidjson::Reader reader;
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseFullPrecisionFlag;
    outcome = reader.Parse<kFlags>(stream, builder);
    tooDeep = builder.TooDeep();
    // The parser takes a NUL for the end of the text.
    if (!outcome.IsError() && stream.Tell() != text_.size()) {
      outcome.Set(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
    }
    return !outcome.IsError();
  }

  rapidjson::ParseResult outcome;
  bool tooDeep = false;

 private:
  std::string_view text_;
};

}  // namespace

void ParseRequest(std::string_view text, rapidjson::Document& document) {
  Generator generator(text);
  document.Populate(generator);
  const auto& outcome = generator.outcome;
  if (!outcome.IsError()) return;
  const auto place = " at byte " + std::to_string(outcome.Offset());
  if (outcome.Code() == rapidjson::kParseErrorTermination) {
    throw RequestFault((generator.tooDeep
                            ? "more than " + std::to_string(kDeepestNesting) + " levels of nesting"
                            : "more than " + std::to_string(kMostValues) + " values") +
                       place);
  }
  throw ParseFault(rapidjson::GetParseError_En(outcome.Code()) + place);
}

std::string Quoted(std::string_view name) {
  constexpr std::size_t kLongest = 64;
  if (name.size() <= kLongest) return std::string(name);
  return std::string(name.substr(0, kLongest)) + "...";
}

void RequireDistinctNames(const rapidjson::Value& object) {
  std::vector<std::string_view> names;
  names.reserve(object.MemberCount());
  for (const auto& member : object.GetObject()) {
    names.emplace_back(member.name.GetString(), member.name.GetStringLength());
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) throw RequestFault("a member is given twice: " + Quoted(*twice));
}

}  // namespace Mirel::Protocol::Json
