// Chunked bodies. Wherever the bytes are split, the body, what is after it and the verdict are the same.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "framework/transport/request/phrChunkedDecoder.h"

namespace {

using Mirel::Transport::PicoHttp::PhrChunkedDecoder;

struct Decoded {
  std::ptrdiff_t result = PhrChunkedDecoder::kIncomplete;
  std::string body;
  std::string rest;
};

Decoded Decode(const std::string& text, std::size_t step) {
  Decoded all;
  PhrChunkedDecoder decoder;
  for (std::size_t at = 0; at < text.size(); at += step) {
    std::string piece = text.substr(at, step);
    const auto [result, size] = decoder.Decode(boost::asio::buffer(piece));
    if (size > piece.size()) std::abort();
    all.result = result;
    all.body.append(piece, 0, size);
    if (result == PhrChunkedDecoder::kMalformed) break;
    if (result >= 0) {
      all.rest.append(piece, size, static_cast<std::size_t>(result));
      if (at + step < text.size()) all.rest += text.substr(at + step);
      break;
    }
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::string text(data + 1, data + size);
  const Decoded whole = Decode(text, text.size());
  const Decoded pieces = Decode(text, 1 + data[0] % 16);
  const bool sameVerdict = whole.result < 0 ? whole.result == pieces.result : pieces.result >= 0;
  if (!sameVerdict || whole.body != pieces.body || whole.rest != pieces.rest) std::abort();
  return 0;
}
