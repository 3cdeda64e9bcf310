#include "framework/transport/request/serverRequest.h"

#include <string>

#include "framework/core/text.h"
#include "framework/transport/request/numberParser.h"
#include "framework/transport/request/phrParse.h"
#include "framework/transport/request/transportErrors.h"

namespace Mirel::Transport::PicoHttp::ServerDetail {
namespace {

boost::system::error_code ReadContentLength(Request& request, std::string_view value) {
  std::error_code ec;
  const std::uint64_t length = ParseNumber(value, ec);
  if (ec == ToolsError::EmptyNamedSpecifier) return Http::Error::Code::MessageTooLong;
  if (ec) return Error::Code::InvalidRequest;
  request.contentLength = length;
  request.hasContentLength = true;
  return {};
}

boost::system::error_code ReadHeader(Request& request, const PhrHeader& header) {
  const auto& [name, value] = header;
  if (name == "content-type") {
    request.contentType = value;
    if (Contains(value, ".stream.json") || Contains(value, ".framed")) request.framed = true;
  } else if (name == "accept") {
    request.accept = value;
    if (Contains(value, ".stream.json")) request.acceptsStream = true;
  } else if (name == "content-length") {
    return ReadContentLength(request, value);
  } else if (name == "transfer-encoding") {
    request.transferEncoding = value;
    if (Contains(value, "chunked")) request.chunked = true;
  } else if (name == "connection") {
    LowerInPlace(value);
    if (Contains(value, "close")) request.keepAlive = false;
  } else if (name == "expect") {
    request.hasExpect = true;
    if (StrICmp("100-continue", value)) request.expectContinue = true;
  }
  return {};
}

bool HasNoBody(std::string_view method) {
  return method == "get" || method == "head" || method == "connect" || method == "options" ||
         method == "trace";
}

}  // namespace

boost::system::error_code InterpretHead(Request& request) {
  TolowerAndSortHeaders(request.head.Headers());
  for (const auto& header : request.head.Headers()) {
    if (const auto error = ReadHeader(request, header)) return error;
  }
  if (request.chunked) {
    request.contentLength = 0;
    request.hasContentLength = false;
  }
  if (request.head.method.empty()) return Error::Code::InvalidRequest;
  LowerInPlace(request.head.method);
  const auto method = request.head.method;
  if (HasNoBody(method) || (method == "delete" && !request.hasContentLength)) {
    request.hasContentLength = true;
    request.contentLength = 0;
  }
  return {};
}

}  // namespace Mirel::Transport::PicoHttp::ServerDetail
