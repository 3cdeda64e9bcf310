#include "framework/json/requestParser.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <string>

namespace Mirel::Protocol::Json {
namespace {

/// Builds the document, and stops the parser at the nesting limit.
class BoundedBuilder {
 public:
  explicit BoundedBuilder(rapidjson::Document& document) : document_(document) {}

  bool Null() { return document_.Null(); }
  bool Bool(bool value) { return document_.Bool(value); }
  bool Int(int value) { return document_.Int(value); }
  bool Uint(unsigned value) { return document_.Uint(value); }
  bool Int64(std::int64_t value) { return document_.Int64(value); }
  bool Uint64(std::uint64_t value) { return document_.Uint64(value); }
  bool Double(double value) { return document_.Double(value); }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool copy) {
    return document_.RawNumber(text, size, copy);
  }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return document_.String(text, size, copy);
  }
  bool Key(const char* text, rapidjson::SizeType size, bool copy) { return document_.Key(text, size, copy); }
  bool StartObject() { return Deeper() && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType size) { return --depth_, document_.EndObject(size); }
  bool StartArray() { return Deeper() && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType size) { return --depth_, document_.EndArray(size); }

 private:
  bool Deeper() { return ++depth_ <= kDeepestNesting; }

  rapidjson::Document& document_;
  unsigned depth_ = 0;
};

/// What Document::Populate asks for: something that fills it by its events.
class Generator {
 public:
  explicit Generator(std::string_view text) : text_(text) {}

  bool operator()(rapidjson::Document& document) {
    rapidjson::MemoryStream stream(text_.data(), text_.size());
    BoundedBuilder builder(document);
    rapidjson::Reader reader;
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
    outcome = reader.Parse<kFlags>(stream, builder);
    // The parser takes a NUL for the end of the text.
    if (!outcome.IsError() && stream.Tell() != text_.size()) {
      outcome.Set(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
    }
    return !outcome.IsError();
  }

  rapidjson::ParseResult outcome;

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
    throw RequestFault("more than " + std::to_string(kDeepestNesting) + " levels of nesting" + place);
  }
  throw ParseFault(rapidjson::GetParseError_En(outcome.Code()) + place);
}

}  // namespace Mirel::Protocol::Json
