#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

namespace Mirel {

enum class ToolsError { NamedArgumentNotFound = 1, EmptyNamedSpecifier = 2, NotANumber = 3 };

// Faults of the text tools. A number uses the codes alone: 1 an empty text, 2 a value out of range, 3 a text
// that is no number.
class ToolsCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const override;
};

const std::error_category& GetToolsCategory() noexcept;

inline std::error_code make_error_code(ToolsError error) noexcept {
  return {static_cast<int>(error), GetToolsCategory()};
}

// Reads a number as strtoul does with base 0, so that "0x10" is 16 and "010" is 8. An error gives 0.
std::uint64_t ParseNumber(std::string_view text, std::error_code& ec);

namespace Detail {

// Judges a conversion by where it ended and by errno. Requires: errno was 0 before it.
std::error_code CheckConvert(const char* end, const char* expectedEnd);

}  // namespace Detail
}  // namespace Mirel

template <>
struct std::is_error_code_enum<Mirel::ToolsError> : std::true_type {};
