#include "fleet/metrics/number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace Fleet {
namespace {

bool IsWord(std::string_view text, std::string_view lowerCase) {
  const auto isSame = [](char left, char right) {
    return (left >= 'A' && left <= 'Z' ? left - 'A' + 'a' : left) == right;
  };
  return std::equal(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(), isSame);
}

std::optional<double> ReadUnsigned(std::string_view word) {
  if (IsWord(word, "inf") || IsWord(word, "infinity")) return std::numeric_limits<double>::infinity();
  // from_chars knows words of its own, such as "nan(1)".
  if (word.empty() || (word.front() != '.' && (word.front() < '0' || word.front() > '9'))) return {};
  double value = 0;
  const char* end = word.data() + word.size();
  const auto result = std::from_chars(word.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end) return {};
  return value;
}

}  // namespace

std::optional<double> ReadNumber(std::string_view word) {
  if (IsWord(word, "nan")) return std::numeric_limits<double>::quiet_NaN();
  const bool isNegative = word.starts_with('-');
  if (isNegative || word.starts_with('+')) word.remove_prefix(1);
  auto value = ReadUnsigned(word);
  if (value && isNegative) value = -*value;
  return value;
}

void AppendNumber(std::string& out, double value) {
  if (std::isnan(value)) {
    out.append("NaN");
  } else if (std::isinf(value)) {
    out.append(value > 0 ? "+Inf" : "-Inf");
  } else {
    std::array<char, 32> digits;
    const auto result =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::general);
    out.append(digits.data(), result.ptr);
  }
}

void AppendBound(std::string& out, double value) {
  const std::size_t begin = out.size();
  AppendNumber(out, value);
  if (std::isfinite(value) && out.find_first_of(".e", begin) == std::string::npos) out.append(".0");
}

}  // namespace Fleet
