#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace Mirel::Protocol::Json {

// A request's text can't be used; what() says why, for its sender.
class RequestFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The text is no JSON at all.
class ParseFault final : public RequestFault {
 public:
  using RequestFault::RequestFault;
};

// How deep arrays and objects of a request may be nested, the request itself included.
inline constexpr unsigned kDeepestNesting = 64;

// How many values a request may hold. A value takes up to a hundred bytes in memory and may take two in the
// text, so that the size of the text alone bounds too little. It also bounds how long a request holds the
// thread that reads it. A filter that names 5000 VMs one by one fits.
inline constexpr std::size_t kMostValues = 32768;

// Parses one JSON text (RFC 8259) with nothing after it. Neither stack nor memory grow with nesting beyond
// the limit: the parser stops there. Throws ParseFault, or RequestFault at one of the limits.
void ParseRequest(std::string_view text, rapidjson::Document& document);

// A name of the sender's choice, short enough for an error text.
std::string Quoted(std::string_view name);

// Requires: the value is a string.
inline std::string Text(const rapidjson::Value& json) {
  return {json.GetString(), json.GetStringLength()};
}

// Refuses an object that names a member twice, as readers differ in which of the two counts. The sender
// chooses the names and their number: the work grows neither with the square of the number, nor with how much
// of their beginnings the names have in common.
void RequireDistinctNames(const rapidjson::Value& object);

}  // namespace Mirel::Protocol::Json
