// Many requests on one connection whose answers nobody reads, and bodies whose chunks end where they
// shouldn't.

#include <string>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/client.h"
#include "bench/siege/crowd.h"

namespace Siege {
namespace {

constexpr std::size_t kPipelinesAtOnce = 40;
constexpr std::size_t kRequests = 500;

std::string Call() {
  return Post(R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(kOpenCall) +
              R"(","params":{"input":{}}})");
}

std::string Chunked(std::string_view body) {
  return "POST /api HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nTransfer-Encoding: "
         "chunked\r\n\r\n" +
         std::string(body);
}

std::string Times(std::size_t count, const std::string& part) {
  std::string text;
  text.reserve(count * part.size());
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

std::vector<std::string> Texts() {
  return {
      Times(kRequests, Call()),
      Times(kRequests, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n"),
      Times(kRequests, Chunked("2\r\n{}\r\n0\r\n\r\n")),
      Chunked("2\r\n{}\r\n7"),
      Chunked("2\r\n{}\r"),
      Chunked("1;" + std::string(60'000, 'x')),
      Chunked(Times(100'000, "1\r\n \r\n")),
      Chunked("2\r\n{}\r\n0\r\nX: " + std::string(60'000, 'x')),
  };
}

}  // namespace

void Pipelines(const Assault& assault) {
  const auto texts = Texts();
  while (assault.GoesOn()) {
    Crowd crowd(assault.port);
    for (std::size_t i = 0; i < kPipelinesAtOnce; ++i) {
      crowd.Add(texts[i % texts.size()]);
      assault.Count();
    }
    for (int turn = 0; turn < 50; ++turn) {
      crowd.Turn(milliseconds(20));
      Sleep(milliseconds(10));
      assault.Hold(crowd.Size());
    }
  }
}

}  // namespace Siege
