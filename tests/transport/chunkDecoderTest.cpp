#include <gtest/gtest.h>

#include <string>

#include "framework/transport/request/phrChunkedDecoder.h"

namespace Mirel::Transport::PicoHttp {
namespace {

struct Decoded {
  std::ptrdiff_t result;
  std::string body;
  std::string rest;
};

// Decodes in two pieces.
Decoded Decode(const std::string& text, std::size_t split) {
  PhrChunkedDecoder decoder;
  Decoded all{PhrChunkedDecoder::kIncomplete, "", ""};
  for (std::string piece : {text.substr(0, split), text.substr(split)}) {
    if (all.result >= 0) {
      all.rest += piece;
      continue;
    }
    const auto [result, size] = decoder.Decode(boost::asio::buffer(piece));
    all.result = result;
    all.body += piece.substr(0, size);
    if (result == PhrChunkedDecoder::kMalformed) return all;
    if (result >= 0) all.rest = piece.substr(size, static_cast<std::size_t>(result));
  }
  return all;
}

TEST(PhrChunkedDecoderTest, GivesTheSameBodyWhereverTheBytesAreSplit) {
  const std::string text =
      "5;name=\"value\"\r\nHello\r\n001 \t;x\r\n \n6\nworld!\r\nA\r\n0123456789\r\n0\r\nTrailer: x\r\nT2: y\n"
      "\r\nGET / HTTP/1.1";
  for (std::size_t split = 0; split <= text.size(); ++split) {
    const auto decoded = Decode(text, split);
    EXPECT_GE(decoded.result, 0) << split;
    EXPECT_EQ(decoded.body, "Hello world!0123456789") << split;
    EXPECT_EQ(decoded.rest, "GET / HTTP/1.1") << split;
  }
  EXPECT_EQ(Decode("0\r\n\r\n", 0).result, 0);
}

TEST(PhrChunkedDecoderTest, RefusesBrokenFraming) {
  for (const std::string text : {"\r\n", ";x\r\n", "g\r\n", "-1\r\n", "0x1\r\n", "1 \x01\r\n", "1\rx",
                                 "1;a\rb\r\n", "1\r\nab", "1\r\na\rb", "10000000000000000\r\n",
                                 "00000000000000001\r\n", "0\r\n\rX", "0\r\nT: \x01\r\n", "0\r\nT: a\rb"}) {
    for (std::size_t split = 0; split <= text.size(); ++split) {
      EXPECT_EQ(Decode(text, split).result, PhrChunkedDecoder::kMalformed) << text << ' ' << split;
    }
  }
}

}  // namespace
}  // namespace Mirel::Transport::PicoHttp
