#include "fleet/metrics/metricLine.h"

#include <algorithm>
#include <cstddef>

#include "fleet/metrics/names.h"
#include "fleet/metrics/number.h"
#include "fleet/metrics/textRefused.h"
#include "platform/corvane/textEscape.h"

namespace Fleet {
namespace {

constexpr std::size_t kMaxLabels = 16;
constexpr std::size_t kMaxLabelValue = 256;
constexpr std::string_view kBlanks = " \t";

void Expect(bool isSo) {
  if (!isSo) throw TextRefused(Refusal::Syntax);
}

// Takes the parts of a line from its front.
class LineReader final {
 public:
  explicit LineReader(std::string_view line) : rest_(line) { PassBlanks(); }

  bool IsAtEnd() const { return rest_.empty(); }
  bool IsAt(char c) const { return rest_.starts_with(c); }

  // Each part takes the blanks behind it, too.
  bool Pass(char c) {
    if (!IsAt(c)) return false;
    rest_.remove_prefix(1);
    PassBlanks();
    return true;
  }

  std::string_view TakeWord() {
    const auto word = Take(std::min(rest_.find_first_of(kBlanks), rest_.size()));
    PassBlanks();
    return word;
  }

  std::string_view TakeName(bool mayHaveColons) {
    const auto isStart = [&](char c) { return IsNameStart(c) || (mayHaveColons && c == ':'); };
    const auto isInside = [&](char c) { return IsNameCharacter(c) || (mayHaveColons && c == ':'); };
    Expect(!rest_.empty() && isStart(rest_.front()));
    const auto end = std::find_if_not(rest_.begin(), rest_.end(), isInside);
    const auto name = Take(static_cast<std::size_t>(end - rest_.begin()));
    isSeparated_ = PassBlanks();
    return name;
  }

  double TakeNumber() {
    const auto number = ReadNumber(TakeWord());
    Expect(number.has_value());
    return *number;
  }

  // A number may follow a name without labels only behind a blank.
  void TakeLabels(std::vector<MetricLabel>& labels) {
    labels.clear();
    if (!Pass('{')) return Expect(isSeparated_);
    while (!Pass('}')) {
      if (labels.size() == kMaxLabels) throw TextRefused(Refusal::TooMany);
      const auto name = TakeName(false);
      Expect(Pass('='));
      labels.push_back({name, TakeQuoted()});
      Expect(Pass(',') || IsAt('}'));
    }
  }

 private:
  std::string_view Take(std::size_t size) {
    const auto taken = rest_.substr(0, size);
    rest_.remove_prefix(size);
    return taken;
  }

  bool PassBlanks() {
    const std::size_t size = std::min(rest_.find_first_not_of(kBlanks), rest_.size());
    rest_.remove_prefix(size);
    return size > 0;
  }

  std::string_view TakeQuoted() {
    Expect(IsAt('"'));
    rest_.remove_prefix(1);
    std::size_t size = 0;
    std::size_t escapes = 0;
    while ((size = rest_.find_first_of("\"\\", size)) != std::string_view::npos && rest_[size] == '\\') {
      Expect(size + 1 < rest_.size() &&
             std::string_view("\\\"n").find(rest_[size + 1]) != std::string_view::npos);
      size += 2;
      ++escapes;
    }
    Expect(size != std::string_view::npos);
    if (size - escapes > kMaxLabelValue) throw TextRefused(Refusal::TooLong);
    const auto value = Take(size);
    Expect(Pass('"'));
    return value;
  }

  std::string_view rest_;
  bool isSeparated_ = true;
};

void CheckCharacters(std::string_view line) {
  while (true) {
    const std::size_t tab = line.find('\t');
    if (!Corvane::Detail::IsPlainLine(line.substr(0, tab))) throw TextRefused(Refusal::Characters);
    if (tab == std::string_view::npos) return;
    line.remove_prefix(tab + 1);
  }
}

void ReadComment(LineReader& reader, MetricLine& line) {
  if (reader.TakeWord() != "#" || reader.TakeWord() != "TYPE") return;
  line.kind = MetricLine::Kind::Type;
  line.name = reader.TakeName(true);
  line.type = reader.TakeWord();
  Expect(reader.IsAtEnd());
  CheckMetricName(line.name);
}

// Labels have an order of their own here, so that one series is written in one way.
void ArrangeLabels(std::vector<MetricLabel>& labels) {
  const auto isBefore = [](const MetricLabel& left, const MetricLabel& right) {
    return left.name < right.name;
  };
  const auto isSame = [](const MetricLabel& left, const MetricLabel& right) {
    return left.name == right.name;
  };
  std::sort(labels.begin(), labels.end(), isBefore);
  Expect(std::adjacent_find(labels.begin(), labels.end(), isSame) == labels.end());
  for (const auto& label : labels) CheckLabelName(label.name);
  std::erase_if(labels, [](const MetricLabel& label) { return label.value.empty(); });
}

// # {label="value",...} number [timestamp]
void PassExemplar(LineReader& reader) {
  Expect(reader.Pass('#') && reader.IsAt('{'));
  std::vector<MetricLabel> labels;
  reader.TakeLabels(labels);
  reader.TakeNumber();
  if (!reader.IsAtEnd()) reader.TakeNumber();
}

// name[{label="value",...}] number [timestamp] [exemplar]
void ReadSample(LineReader& reader, MetricLine& line) {
  line.kind = MetricLine::Kind::Sample;
  line.name = reader.TakeName(true);
  reader.TakeLabels(line.labels);
  line.value = reader.TakeNumber();
  if (!reader.IsAtEnd() && !reader.IsAt('#')) reader.TakeNumber();
  if (!reader.IsAtEnd()) PassExemplar(reader);
  Expect(reader.IsAtEnd());
  CheckMetricName(line.name);
  ArrangeLabels(line.labels);
}

}  // namespace

void ReadMetricLine(std::string_view text, MetricLine& line) {
  CheckCharacters(text);
  line.kind = MetricLine::Kind::Nothing;
  if (text == "# EOF") {
    line.kind = MetricLine::Kind::End;
    return;
  }
  LineReader reader(text);
  if (reader.IsAt('#')) return ReadComment(reader, line);
  if (!reader.IsAtEnd()) ReadSample(reader, line);
}

}  // namespace Fleet
