#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "framework/core/l10n.h"
#include "framework/provider/messageFormat.h"

namespace {

using Mirel::Detail::format_arg;
using StringFormatter = Mirel::Detail::formatter<std::string, false>;

// Takes up to three digits off the text.
void SkipNumber(std::string_view& text) {
  for (int i = 0; i < 3 && !text.empty() && text.front() >= '0' && text.front() <= '9'; ++i) {
    text.remove_prefix(1);
  }
}

// A spec goes to printf as it is, and templates are program text: what the program would never write
// ("n", "*", a column of gigabytes, what is no spec at all) is kept away from it here.
bool IsHarmless(std::string_view spec) {
  if (!spec.empty() && spec.front() == '-') spec.remove_prefix(1);
  SkipNumber(spec);
  if (!spec.empty() && spec.front() == '.') {
    spec.remove_prefix(1);
    SkipNumber(spec);
  }
  return spec.empty();
}

void Print(std::ostream& out, std::string_view spec, const void* value) {
  StringFormatter::call(out, IsHarmless(spec) ? spec : "s", value);
}

void Require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(data + 1, data + size);
  const bool plain = text.find_first_of("{}") == std::string::npos;

  const std::string values[] = {"first", "", std::string("nul\0byte", 8)};
  const format_arg args[] = {{&values[0], Print}, {&values[1], Print}, {&values[2], Print}};
  std::ostringstream out;
  std::error_code ec;
  Mirel::Detail::FormatTo(out, text, args, data[0] % 4, ec);
  Require(!plain || (out.str() == text && !ec));

  std::error_code namedError;
  const auto named = Mirel::FormatNamed(text, {{"a", "{a}"}, {"vmIdType", ""}}, namedError);
  Require(!plain || (named == text && !namedError));
  return 0;
}
