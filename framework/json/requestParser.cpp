#include "framework/json/requestParser.h"

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace Mirel::Protocol::Json {
namespace {

// Builds the document, and stops the parser at the limits. Numbers come as text: the parser's own conversion
// is either inexact, or has undefined behaviour for some integers above 2^64.
class BoundedBuilder {
 public:
  explicit BoundedBuilder(rapidjson::Document& document) : document_(document) {}

  bool Null() { return Counted() && document_.Null(); }
  bool Bool(bool value) { return Counted() && document_.Bool(value); }
  bool RawNumber(const char* text, rapidjson::SizeType size, bool) { return Counted() && Number(text, size); }
  bool String(const char* text, rapidjson::SizeType size, bool copy) {
    return Counted() && document_.String(text, size, copy);
  }
  bool Key(const char* text, rapidjson::SizeType size, bool copy) { return document_.Key(text, size, copy); }
  bool StartObject() { return Counted() && Deeper() && document_.StartObject(); }
  bool EndObject(rapidjson::SizeType size) { return --depth_, document_.EndObject(size); }
  bool StartArray() { return Counted() && Deeper() && document_.StartArray(); }
  bool EndArray(rapidjson::SizeType size) { return --depth_, document_.EndArray(size); }

  // The reader's interface; not called, as numbers come as text.
  bool Int(int value) { return document_.Int(value); }
  bool Uint(unsigned value) { return document_.Uint(value); }
  bool Int64(std::int64_t value) { return document_.Int64(value); }
  bool Uint64(std::uint64_t value) { return document_.Uint64(value); }
  bool Double(double value) { return document_.Double(value); }

  // Why the parser was stopped.
  const std::string& reason() const { return reason_; }

 private:
  bool Counted() {
    return ++values_ <= kMostValues || Stop("more than " + std::to_string(kMostValues) + " values");
  }
  bool Deeper() {
    return ++depth_ <= kDeepestNesting ||
           Stop("more than " + std::to_string(kDeepestNesting) + " levels of nesting");
  }
  bool Stop(std::string reason) {
    reason_ = std::move(reason);
    return false;
  }

  // The parser has checked the form.
  bool Number(const char* text, std::size_t size) {
    const auto* end = text + size;
    const auto converts = [&](auto& number) {
      const auto outcome = std::from_chars(text, end, number);
      return outcome.ec == std::errc() && outcome.ptr == end;
    };
    std::int64_t integer = 0;
    if (converts(integer)) return document_.Int64(integer);
    std::uint64_t natural = 0;
    if (converts(natural)) return document_.Uint64(natural);
    double real = 0;
    if (converts(real) && std::isfinite(real)) return document_.Double(real);
    return Stop("a number out of range");
  }

  rapidjson::Document& document_;
  unsigned depth_ = 0;
  std::size_t values_ = 0;
  std::string reason_;
};

// What Document::Populate asks for: something that fills it by its events.
class Generator {
 public:
  explicit Generator(std::string_view text) : text_(text) {}

  bool operator()(rapidjson::Document& document) {
    rapidjson::MemoryStream stream(text_.data(), text_.size());
    BoundedBuilder builder(document);
    rapidjson::Reader reader;
    constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag |
                                rapidjson::kParseNumbersAsStringsFlag;
    outcome = reader.Parse<kFlags>(stream, builder);
    reason = builder.reason();
    // The parser takes a NUL for the end of the text.
    if (!outcome.IsError() && stream.Tell() != text_.size()) {
      outcome.Set(rapidjson::kParseErrorDocumentRootNotSingular, stream.Tell());
    }
    return !outcome.IsError();
  }

  rapidjson::ParseResult outcome;
  std::string reason;

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
  if (outcome.Code() == rapidjson::kParseErrorTermination) throw RequestFault(generator.reason + place);
  throw ParseFault(rapidjson::GetParseError_En(outcome.Code()) + place);
}

std::string Quoted(std::string_view name) {
  constexpr std::size_t kLongest = 64;
  if (name.size() <= kLongest) return std::string(name);
  return std::string(name.substr(0, kLongest)) + "...";
}

void RequireDistinctNames(const rapidjson::Value& object) {
  // Ordered by their hashes, so that texts are compared only where these are equal.
  using HashedName = std::pair<std::size_t, std::string_view>;
  std::vector<HashedName> names;
  names.reserve(object.MemberCount());
  for (const auto& member : object.GetObject()) {
    const std::string_view name(member.name.GetString(), member.name.GetStringLength());
    names.emplace_back(std::hash<std::string_view>()(name), name);
  }
  std::sort(names.begin(), names.end());
  const auto twice = std::adjacent_find(names.begin(), names.end());
  if (twice != names.end()) throw RequestFault("a member is given twice: " + Quoted(twice->second));
}

}  // namespace Mirel::Protocol::Json
