#pragma once

#include <rapidjson/document.h>

#include <stdexcept>
#include <string_view>

namespace Mirel::Protocol::Json {

/// A request's text can't be used; what() says why, for its sender.
class RequestFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text is no JSON at all.
class ParseFault : public RequestFault {
 public:
  using RequestFault::RequestFault;
};

/// How deep arrays and objects of a request may be nested, the request itself included.
inline constexpr unsigned kDeepestNesting = 64;

/// Parses one JSON text (RFC 8259) with nothing behind it. Neither stack nor memory grow with nesting beyond
/// the limit: the parser stops there. Throws ParseFault, or RequestFault for the nesting.
void ParseRequest(std::string_view text, rapidjson::Document& document);

}  // namespace Mirel::Protocol::Json
