#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Pelagor {

enum class Kind { Plain, Date, Time, Integer, Real };
enum class Length { Short, Medium, Long };

// One field of a template: which argument, counted from 1, and how it is shown.
struct TemplateField {
  std::size_t number = 0;
  Kind kind = Kind::Plain;
  Length length = Length::Medium;
};

// Reads what is between a field's braces; gives nothing when that is no field.
std::optional<TemplateField> ReadTemplateField(std::string_view text);

}  // namespace Pelagor
