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

// How many values a request may hold. A value of two bytes in the text takes up to a hundred in memory, so
// the size of the text alone bounds too little. This also bounds how long one request keeps the thread busy.
// A filter that names 5000 VMs one by one fits.
inline constexpr std::size_t kMostValues = 32768;

// Parses one JSON text (RFC 8259) with nothing after it. Stops at the limits, so that neither stack nor
// memory grow beyond them. Throws ParseFault, or RequestFault at one of the limits.
void ParseRequest(std::string_view text, rapidjson::Document& document);

// A name of the sender's choice, short enough for an error text.
std::string Quoted(std::string_view name);

// Requires: the value is a string.
inline std::string Text(const rapidjson::Value& json) {
  return {json.GetString(), json.GetStringLength()};
}

// Refuses an object that names a member twice, as readers differ in which of the two counts. Since the sender
// chooses the names, the work grows neither with the square of their number, nor with the length of a
// beginning that they have in common.
void RequireDistinctNames(const rapidjson::Value& object);

}  // namespace Mirel::Protocol::Json
