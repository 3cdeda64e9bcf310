#include "framework/provider/messageFormat.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "framework/core/errorCategories.h"

namespace Mirel {
namespace {

struct Formatted {
  std::string text;
  std::error_code ec;
};

Formatted Format(std::string_view text, const std::vector<std::string>& values) {
  std::vector<Detail::format_arg> args;
  args.reserve(values.size());
  for (const auto& value : values) args.push_back({&value, &Detail::formatter<std::string, false>::call});
  std::ostringstream out;
  Formatted result;
  Detail::FormatTo(out, text, args.data(), args.size(), result.ec);
  result.text = out.str();
  return result;
}

TEST(MessageFormatTest, Grammar) {
  const std::vector<std::string> abc = {"a", "b", "c"};
  struct Case {
    std::string_view text;
    std::vector<std::string> args;
    std::string_view expected;
    bool fails = false;
  };
  const Case cases[] = {
      {"", abc, ""},
      {"plain text", {}, "plain text"},
      {"{{x}} {{", {}, "{x} {"},
      {"{{{1}}}", abc, "{a}"},
      // Numbered and running fields; every field moves the running index on.
      {"{2} {}", abc, "b b"},
      {"{} {1} {}", abc, "a a c"},
      {"{} {} {}", abc, "a b c"},
      {"{0}{0}", abc, "ab"},
      {"{vmIdType}!", abc, "a!"},
      {"{ 2}{+3}{2x}", abc, "bcb"},
      {"{00000000000000000002}", abc, "b"},
      {"{000000000000000000002}", abc, "a"},
      // Open fields at the end.
      {"end {", abc, "end a"},
      {"{2", abc, "b"},
      {"{3:", abc, "c"},
      // A lone closing brace swallows the rest, and reads its index from it.
      {"a } b", {"x"}, "a x"},
      {"a } 2 b", abc, "a b"},
      {"a }3:.1", {"u", "v", "wxyz"}, "a w"},
      {"{1}}", abc, "ab"},
      // Too few arguments: the text ends at the field.
      {"{} and {}", {"x"}, "x and ", true},
      {"{2} tail", {"x"}, "", true},
      {"x{", {}, "x", true},
      {"x}", {}, "x", true},
      {"{-1}", abc, "", true},
      {"{99999999999999999999}", abc, "", true},
      {"{1}{4}{1}", abc, "a", true},
  };
  for (const auto& test : cases) {
    const auto result = Format(test.text, test.args);
    EXPECT_EQ(result.text, test.expected) << test.text;
    EXPECT_EQ(result.ec, test.fails ? make_error_code(FormatError::TooManySpecifiers) : std::error_code())
        << test.text;
  }
}

TEST(MessageFormatTest, SpecsReachPrintf) {
  const std::string nul("ab\0cd", 5);
  EXPECT_EQ(Format("{1:}{1:s}", {"ab"}).text, "abab");
  EXPECT_EQ(Format("[{:5}][{1:-5}][{1:.1}]", {"ab"}).text, "[   ab][ab   ][a]");
  EXPECT_EQ(Format("[}1:5", {"ab"}).text, "[   ab");
  EXPECT_EQ(Format("{1}|{1:s}|{1:3}|{1:.9}", {nul}).text, nul + "|" + nul + "| ab|ab");
  // Thirteen characters are the most that leave room for the conversion letter.
  EXPECT_EQ(Format("{1:-----------.1}", {"ab"}).text, "a");
}

}  // namespace
}  // namespace Mirel
