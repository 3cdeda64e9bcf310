#include "framework/provider/messageFormat.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <sstream>
#include <vector>

#include "framework/core/errorCategories.h"

namespace Mirel::Detail {
namespace {

constexpr std::size_t kMaxIndexLength = 20;
constexpr std::size_t kConversionSize = 16;

void Write(std::ostream& out, std::string_view text) {
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
}

// 0 for "the next argument": an empty index, or one that does not begin with a number.
unsigned long long ReadIndex(std::string_view text) {
  char buffer[kMaxIndexLength + 1] = {};
  std::memcpy(buffer, text.data(), std::min(text.size(), kMaxIndexLength));
  return std::strtoull(buffer, nullptr, 10);
}

struct Field {
  std::string_view index;
  std::string_view spec;
};

// Takes the field at the start of the text off it. The search for the closing brace starts at the opening
// one, so that a lone closing brace finds itself, and its field is all of the text after it.
Field TakeField(std::string_view& text) {
  const auto close = text.find('}');
  auto body = text.substr(1);
  if (close == std::string_view::npos || close == 0) {
    text = {};
  } else {
    body = body.substr(0, close - 1);
    text.remove_prefix(close + 1);
  }
  const auto colon = body.find(':');
  if (colon == std::string_view::npos) return {body, {}};
  return {body.substr(0, colon), body.substr(colon + 1)};
}

// The conversion is built at run time from a template's spec, which is program text.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

std::string FormatText(const char* conversion, const std::string& text) {
  const int length = std::snprintf(nullptr, 0, conversion, text.c_str());
  if (length < 0) return {};
  std::string formatted(static_cast<std::size_t>(length) + 1, '\0');
  const int written = std::snprintf(formatted.data(), formatted.size(), conversion, text.c_str());
  formatted.resize(static_cast<std::size_t>(std::clamp(written, 0, length)));
  return formatted;
}

#pragma GCC diagnostic pop

}  // namespace

void FormatTo(std::ostream& out, std::string_view text, const format_arg* args, std::size_t count,
              std::error_code& ec) {
  std::size_t next = 0;
  while (!text.empty()) {
    const auto brace = std::min(text.find_first_of("{}"), text.size());
    if (brace > 0) {
      Write(out, text.substr(0, brace));
      text.remove_prefix(brace);
      continue;
    }
    if (text.size() > 1 && text[1] == text[0]) {
      Write(out, text.substr(0, 1));
      text.remove_prefix(2);
      continue;
    }
    const auto field = TakeField(text);
    const auto index = ReadIndex(field.index);
    const auto selected = index == 0 ? next : index - 1;
    if (selected >= count) {
      ec = FormatError::TooManySpecifiers;
      return;
    }
    ++next;
    args[selected].print(out, field.spec, args[selected].value);
  }
}

void formatter<std::string, false>::call(std::ostream& out, std::string_view spec, const void* value) {
  const auto& text = *static_cast<const std::string*>(value);
  if (spec.empty() || spec == "s") {
    Write(out, text);
    return;
  }
  // Longer specs are cut, and lose their conversion letter with it.
  char conversion[kConversionSize];
  const auto length = static_cast<int>(std::min(spec.size(), kConversionSize));
  std::snprintf(conversion, sizeof conversion, "%%%.*ss", length, spec.data());
  Write(out, FormatText(conversion, text));
}

BaseMessage MakeMessageOf(const std::string& id, const std::string& text, std::span<const std::string> args) {
  const auto format = [](std::string_view form, std::span<const format_arg> values) {
    std::ostringstream out;
    std::error_code ignored;
    FormatTo(out, form, values.data(), values.size(), ignored);
    return std::move(out).str();
  };

  std::vector<format_arg> values;
  values.reserve(args.size());
  for (const auto& arg : args) values.push_back({&arg, &formatter<std::string, false>::call});

  BaseMessage message{id, format(text, values), {}};
  message.args.reserve(values.size());
  for (const auto& value : values) message.args.push_back(format("{1}", {&value, 1}));
  return message;
}

}  // namespace Mirel::Detail
