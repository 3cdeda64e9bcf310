#include "guest/agent/metrics/metricLines.h"

#include <algorithm>
#include <cstddef>

#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

constexpr std::string_view kEndLine = "# EOF";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool IsNameStart(char c) {
  return (Lower(c) >= 'a' && Lower(c) <= 'z') || c == '_';
}

// Reads a line from its start to its end. An operation that doesn't find what it is for gives false.
class SampleReader final {
 public:
  explicit SampleReader(std::string_view line) : rest_(line) {}

  // name{label="value",...} number [timestamp]
  bool IsSample() {
    PassBlanks();
    if (!PassName(true) || !PassLabels() || !PassNumber()) return false;
    return rest_.empty() || (PassNumber() && rest_.empty());
  }

 private:
  bool PassBlanks() {
    return Pass([](char c) { return c == ' ' || c == '\t'; });
  }
  bool PassDigits() { return Pass(IsDigit); }

  template <typename IsWanted>
  bool Pass(IsWanted isWanted) {
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), isWanted);
    const auto size = static_cast<std::size_t>(end - rest_.begin());
    rest_.remove_prefix(size);
    return size > 0;
  }

  bool PassCharacter(char c) {
    if (!rest_.starts_with(c)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool PassName(bool mayHaveColons) {
    if (rest_.empty() || IsDigit(rest_.front())) return false;
    return Pass([&](char c) { return IsNameStart(c) || IsDigit(c) || (mayHaveColons && c == ':'); });
  }

  // Blanks may stand between all of its parts, and a comma behind the last label.
  bool PassLabels() {
    const bool isSeparated = PassBlanks();
    if (!PassCharacter('{')) return isSeparated;
    PassBlanks();
    while (!PassCharacter('}')) {
      if (!PassLabel()) return false;
      PassBlanks();
      if (!PassCharacter(',') && !rest_.starts_with('}')) return false;
      PassBlanks();
    }
    PassBlanks();
    return true;
  }

  bool PassLabel() {
    if (!PassName(false)) return false;
    PassBlanks();
    if (!PassCharacter('=')) return false;
    PassBlanks();
    return PassQuoted();
  }

  bool PassQuoted() {
    if (!PassCharacter('"')) return false;
    while (!rest_.empty() && rest_.front() != '"') {
      rest_.remove_prefix(std::min<std::size_t>(rest_.front() == '\\' ? 2 : 1, rest_.size()));
    }
    return PassCharacter('"');
  }

  bool PassNumber() {
    if (!PassCharacter('+')) PassCharacter('-');
    if (!PassWord("infinity") && !PassWord("inf") && !PassWord("nan") && !PassDecimal()) return false;
    return PassBlanks() || rest_.empty();
  }

  bool PassWord(std::string_view word) {
    const auto isSame = [](char left, char right) { return Lower(left) == right; };
    const auto start = rest_.substr(0, word.size());
    if (!std::equal(start.begin(), start.end(), word.begin(), word.end(), isSame)) return false;
    rest_.remove_prefix(word.size());
    return true;
  }

  bool PassDecimal() {
    const bool hasWhole = PassDigits();
    const bool hasFraction = PassCharacter('.') && PassDigits();
    if (!hasWhole && !hasFraction) return false;
    if (!PassCharacter('e') && !PassCharacter('E')) return true;
    if (!PassCharacter('+')) PassCharacter('-');
    return PassDigits();
  }

  std::string_view rest_;
};

bool IsPlainOrTab(std::string_view line) {
  while (true) {
    const std::size_t tab = line.find('\t');
    if (!Corvane::Detail::IsPlainLine(line.substr(0, tab))) return false;
    if (tab == std::string_view::npos) return true;
    line.remove_prefix(tab + 1);
  }
}

bool IsCommentOrEmpty(std::string_view line) {
  const std::size_t start = line.find_first_not_of(" \t");
  return start == std::string_view::npos || line[start] == '#';
}

std::string_view FaultOfLine(std::string_view line, bool isLast) {
  if (!IsPlainOrTab(line)) return "isn't plain UTF-8";
  if (line == kEndLine) return isLast ? "" : "ends the text before its end";
  return IsCommentOrEmpty(line) || SampleReader(line).IsSample() ? "" : "is neither a comment nor a sample";
}

}  // namespace

std::string FaultOfMetrics(std::string_view text) {
  if (!text.ends_with('\n')) return "its last line isn't whole";
  for (std::size_t number = 1; !text.empty(); ++number) {
    const auto line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() + 1);
    const auto fault = FaultOfLine(line, text.empty());
    if (!fault.empty()) return std::string("line ").append(std::to_string(number)).append(" ").append(fault);
  }
  return {};
}

}  // namespace GuestAgent
