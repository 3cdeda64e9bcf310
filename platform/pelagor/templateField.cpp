#include "platform/pelagor/templateField.h"

#include <charconv>

namespace Pelagor {
namespace {

std::optional<Kind> ReadKind(char letter) {
  switch (letter) {
    case 'D':
      return Kind::Date;
    case 'T':
      return Kind::Time;
    case 'I':
      return Kind::Integer;
    case 'F':
      return Kind::Real;
    default:
      return std::nullopt;
  }
}

std::optional<Length> ReadLength(char letter) {
  switch (letter) {
    case 's':
      return Length::Short;
    case 'm':
      return Length::Medium;
    case 'l':
      return Length::Long;
    default:
      return std::nullopt;
  }
}

// Takes ",X" off the text, and gives the letter; 0 when there is none.
char TakeLetter(std::string_view& text) {
  if (text.size() < 2 || text[0] != ',') return 0;
  const char letter = text[1];
  text.remove_prefix(2);
  return letter;
}

}  // namespace

std::optional<TemplateField> ReadTemplateField(std::string_view text) {
  TemplateField field;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), field.number);
  if (error != std::errc() || field.number == 0) return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  if (text.empty()) return field;

  const auto kind = ReadKind(TakeLetter(text));
  if (!kind) return std::nullopt;
  field.kind = *kind;
  if (text.empty()) return field;

  const auto length = ReadLength(TakeLetter(text));
  if (!length || !text.empty() || field.kind == Kind::Integer) return std::nullopt;
  field.length = *length;
  return field;
}

}  // namespace Pelagor
