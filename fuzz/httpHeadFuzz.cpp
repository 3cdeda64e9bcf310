// Request heads as they come off the wire. A head that is refused or accepted at once must be refused or
// accepted at the same length when it comes in two pieces, and its views must lie within it.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "framework/transport/request/phrParse.h"
#include "framework/transport/request/serverRequest.h"

namespace {

using namespace Mirel::Transport::PicoHttp;
using ServerDetail::Request;

void Require(bool condition) {
  if (!condition) std::abort();
}

long Parse(Request& request, std::size_t size, std::size_t lastLength) {
  request.head.headerCount = PhrRequest::kMaxHeaders;
  return PhrParse(boost::asio::buffer(request.buffer.data(), size), request.head, lastLength);
}

void RequireWithin(const Request& request, std::string_view view, long length) {
  Require(view.data() >= request.buffer.data() &&
          view.data() + view.size() <= request.buffer.data() + length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto request = std::make_unique<Request>();
  size = std::min(size, request->buffer.size());
  std::copy(data, data + size, request->buffer.begin());
  const long length = Parse(*request, size, 0);
  if (size > 1) {
    const std::size_t split = 1 + data[0] % (size - 1);
    const long first = Parse(*request, split, 0);
    // The first piece may be enough, for either outcome.
    if (first == kPhrIncomplete) {
      const long second = Parse(*request, size, split);
      Require(second == length || (second == kPhrIncomplete && length == kPhrMalformed));
    } else {
      Require(first == length);
    }
  }
  if (length < 0) return 0;
  Require(Parse(*request, size, 0) == length && length <= static_cast<long>(size));
  Require(!request->head.method.empty() && request->head.headerCount <= PhrRequest::kMaxHeaders);
  RequireWithin(*request, request->head.path, length);
  for (const auto& header : request->head.Headers()) {
    RequireWithin(*request, header.name, length);
    RequireWithin(*request, header.value, length);
    Require(header.name.find_first_of(" \t\r\n:") == std::string_view::npos);
    Require(header.value.find_first_of("\r\n") == std::string_view::npos);
  }
  const auto error = ServerDetail::InterpretHead(*request);
  Require(error || !request->chunked || !request->hasContentLength || request->contentLength == 0);
  return 0;
}
