#include "framework/transport/request/phrParse.h"

#include <algorithm>
#include <cstddef>

#include "framework/core/text.h"

namespace Mirel::Transport::PicoHttp {
namespace {

enum class Outcome { Done, Incomplete, Malformed };

bool IsTokenChar(char c) {
  return IsAlnum(c) || std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t';
}

class HeadParser {
 public:
  explicit HeadParser(std::string_view bytes) : bytes_(bytes) {}

  std::size_t Position() const { return at_; }

  Outcome Parse(PhrRequest& request) {
    const std::uint64_t capacity = request.headerCount;
    request.headerCount = 0;
    if (const auto outcome = RequestLine(request); outcome != Outcome::Done) return outcome;
    while (true) {
      if (AtEnd()) return Outcome::Incomplete;
      if (Peek() == '\r' || Peek() == '\n') return LineEnd();
      if (request.headerCount == capacity) return Outcome::Malformed;
      if (const auto outcome = HeaderLine(request.headers[request.headerCount]); outcome != Outcome::Done) {
        return outcome;
      }
      ++request.headerCount;
    }
  }

 private:
  bool AtEnd() const { return at_ == bytes_.size(); }
  char Peek() const { return bytes_[at_]; }

  Outcome RequestLine(PhrRequest& request) {
    // One empty line in front of a request is passed over (RFC 9112, 2.2).
    if (!AtEnd() && (Peek() == '\r' || Peek() == '\n')) {
      if (const auto outcome = LineEnd(); outcome != Outcome::Done) return outcome;
    }
    if (const auto outcome = Run(request.method, IsTokenChar); outcome != Outcome::Done) return outcome;
    if (const auto outcome = Literal(" "); outcome != Outcome::Done) return outcome;
    const auto isPathChar = [](char c) { return c != ' ' && !IsControl(c); };
    if (const auto outcome = Run(request.path, isPathChar); outcome != Outcome::Done) return outcome;
    if (const auto outcome = Literal(" HTTP/1."); outcome != Outcome::Done) return outcome;
    if (AtEnd()) return Outcome::Incomplete;
    if (Peek() < '0' || Peek() > '9') return Outcome::Malformed;
    request.minorVersion = Peek() - '0';
    ++at_;
    return LineEnd();
  }

  Outcome HeaderLine(PhrHeader& header) {
    if (const auto outcome = Run(header.name, IsTokenChar); outcome != Outcome::Done) return outcome;
    if (const auto outcome = Literal(":"); outcome != Outcome::Done) return outcome;
    while (!AtEnd() && IsBlank(Peek())) ++at_;
    const std::size_t begin = at_;
    while (!AtEnd() && (Peek() == '\t' || !IsControl(Peek()))) ++at_;
    if (AtEnd()) return Outcome::Incomplete;
    std::size_t end = at_;
    while (end > begin && IsBlank(bytes_[end - 1])) --end;
    header.value = bytes_.substr(begin, end - begin);
    return LineEnd();
  }

  // At least one byte of a class, and then one that is not of it.
  template <typename Predicate>
  Outcome Run(std::string_view& run, Predicate belongs) {
    const std::size_t begin = at_;
    while (!AtEnd() && belongs(Peek())) ++at_;
    if (AtEnd()) return Outcome::Incomplete;
    run = bytes_.substr(begin, at_ - begin);
    return run.empty() ? Outcome::Malformed : Outcome::Done;
  }

  Outcome Literal(std::string_view text) {
    for (const char c : text) {
      if (AtEnd()) return Outcome::Incomplete;
      if (Peek() != c) return Outcome::Malformed;
      ++at_;
    }
    return Outcome::Done;
  }

  Outcome LineEnd() {
    if (!AtEnd() && Peek() == '\r') ++at_;
    return Literal("\n");
  }

  std::string_view bytes_;
  std::size_t at_ = 0;
};

// Looks for the empty line without parsing again, so that a head that comes byte by byte stays cheap.
bool MayBeComplete(std::string_view bytes, std::size_t lastLength) {
  const std::string_view news = bytes.substr(lastLength < 3 ? 0 : std::min(lastLength - 3, bytes.size()));
  return news.find("\n\n") != std::string_view::npos || news.find("\n\r\n") != std::string_view::npos;
}

}  // namespace

long PhrParse(const boost::asio::const_buffer& bytes, PhrRequest& request, unsigned long lastLength) {
  const std::string_view text(static_cast<const char*>(bytes.data()), bytes.size());
  if (lastLength != 0 && !MayBeComplete(text, lastLength)) return kPhrIncomplete;
  HeadParser parser(text);
  const std::uint64_t capacity = request.headerCount;
  const Outcome outcome = parser.Parse(request);
  if (outcome == Outcome::Done) return static_cast<long>(parser.Position());
  request.headerCount = capacity;
  return outcome == Outcome::Malformed ? kPhrMalformed : kPhrIncomplete;
}

void TolowerAndSortHeaders(PhrHeaders headers) {
  for (const auto& header : headers) LowerInPlace(header.name);
  std::stable_sort(headers.begin(), headers.end(),
                   [](const PhrHeader& a, const PhrHeader& b) { return a.name < b.name; });
}

void LowerInPlace(std::string_view view) {
  char* const begin = const_cast<char*>(view.data());
  InplaceLower(begin, begin + view.size());
}

}  // namespace Mirel::Transport::PicoHttp
