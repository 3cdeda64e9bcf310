#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "framework/transport/request/phrParse.h"
#include "framework/transport/request/serverRequest.h"
#include "framework/transport/request/transportErrors.h"

namespace Mirel::Transport::PicoHttp {
namespace {

long Parse(const std::string& head, unsigned long lastLength = 0) {
  PhrRequest request;
  request.headerCount = PhrRequest::kMaxHeaders;
  return PhrParse(boost::asio::buffer(head), request, lastLength);
}

TEST(PhrParseTest, FindsTheEndOfTheHeadWhereverTheBytesAreSplit) {
  const std::string head = "\r\nPOST /x HTTP/1.1\r\nA: b \r\nempty:\r\nq: \"\xc3\xa4\t\"\nlast: 1\r\n\r\n";
  const std::string all = head + "body\r\n\r\n";
  for (std::size_t split = 0; split < head.size(); ++split) {
    EXPECT_EQ(Parse(all.substr(0, split)), kPhrIncomplete) << split;
    EXPECT_EQ(Parse(all, split), static_cast<long>(head.size())) << split;
  }
  PhrRequest request;
  request.headerCount = PhrRequest::kMaxHeaders;
  ASSERT_EQ(PhrParse(boost::asio::buffer(all), request, 0), static_cast<long>(head.size()));
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.path, "/x");
  EXPECT_EQ(request.minorVersion, 1);
  ASSERT_EQ(request.headerCount, 4U);
  EXPECT_EQ(request.headers[0].value, "b");
  EXPECT_EQ(request.headers[1].value, "");
  EXPECT_EQ(request.headers[2].value, "\"\xc3\xa4\t\"");
}

TEST(PhrParseTest, RefusesWhatAnotherReaderMightSeeOtherwise) {
  const std::string line = "GET / HTTP/1.1\r\n";
  for (const std::string& head :
       {line + "a : b\r\n\r\n", line + "a: b\r\n c\r\n\r\n", line + " a: b\r\n\r\n", line + ": b\r\n\r\n",
        line + "a: b\rc: d\r\n\r\n", line + std::string("a: b\0c\r\n\r\n", 11), line + "a\x7f: b\r\n\r\n",
        line + "nocolon\r\n\r\n", std::string(" / HTTP/1.1\r\n\r\n"), std::string("GET  / HTTP/1.1\r\n\r\n"),
        std::string("GET / HTTP/2.0\r\n\r\n"), std::string("GET / HTTP/1.1 \r\n\r\n"),
        std::string("GET /\x01 HTTP/1.1\r\n\r\n"), std::string("GET HTTP/1.1\r\n\r\n")}) {
    EXPECT_EQ(Parse(head), kPhrMalformed) << head;
  }
}

TEST(PhrParseTest, TakesSixtyFourHeadersAndNoMore) {
  std::string head = "GET / HTTP/1.0\r\n";
  for (int i = 0; i < 64; ++i) head += "h: v\r\n";
  EXPECT_EQ(Parse(head + "\r\n"), static_cast<long>(head.size() + 2));
  EXPECT_EQ(Parse(head + "h: v\r\n\r\n"), kPhrMalformed);
}

struct Interpreted {
  explicit Interpreted(const std::string& text) {
    std::copy(text.begin(), text.end(), request.buffer.begin());
    request.head.headerCount = PhrRequest::kMaxHeaders;
    EXPECT_GT(PhrParse(boost::asio::buffer(request.buffer.data(), text.size()), request.head, 0), 0) << text;
    error = ServerDetail::InterpretHead(request);
  }
  ServerDetail::Request request;
  boost::system::error_code error;
};

TEST(InterpretHeadTest, TakesTheLengthOfTheBody) {
  const auto length = [](const std::string& start) {
    const Interpreted head(start + "\r\n\r\n");
    EXPECT_FALSE(head.error) << start;
    return head.request.hasContentLength ? static_cast<long>(head.request.contentLength) : -1L;
  };
  EXPECT_EQ(length("POST / HTTP/1.1\r\nContent-Length: 0x10"), 16);
  EXPECT_EQ(length("POST / HTTP/1.1\r\ncontent-length: 010"), 8);
  EXPECT_EQ(length("POST / HTTP/1.1\r\nContent-Length: 1\r\nCONTENT-LENGTH: 2"), 2);
  EXPECT_EQ(length("POST / HTTP/1.1\r\nA: b"), -1);
  EXPECT_EQ(length("POST / HTTP/1.1\r\nContent-Length: 5\r\nTransfer-Encoding: gzip, chunked"), -1);
  EXPECT_EQ(length("POST / HTTP/1.1\r\nContent-Length: 5\r\nTransfer-Encoding: CHUNKED"), 5);
  EXPECT_EQ(length("Get / HTTP/1.1\r\nContent-Length: 5"), 0);
  EXPECT_EQ(length("DELETE / HTTP/1.1\r\nContent-Length: 5"), 5);
  EXPECT_EQ(length("DELETE / HTTP/1.1\r\nA: b"), 0);
}

TEST(InterpretHeadTest, TellsWhatIsWrongWithALength) {
  const auto error = [](const std::string& value) {
    return Interpreted("POST / HTTP/1.1\r\nContent-Length:" + value + "\r\n\r\n").error;
  };
  EXPECT_EQ(error(""), Error::Code::InvalidRequest);
  EXPECT_EQ(error("12x"), Error::Code::InvalidRequest);
  EXPECT_EQ(error("1, 1"), Error::Code::InvalidRequest);
  EXPECT_FALSE(error("18446744073709551615"));
  EXPECT_EQ(error("18446744073709551616"), Http::Error::Code::MessageTooLong);
}

}  // namespace
}  // namespace Mirel::Transport::PicoHttp
