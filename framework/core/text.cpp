#include "framework/core/text.h"

#include <algorithm>
#include <string>

namespace Mirel {
namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

template <typename ErrorCode>
std::string Describe(const ErrorCode& error) {
  return std::string(error.category().name()) + ":" + std::to_string(error.value()) + " " + error.message();
}

}  // namespace

void InplaceLower(char* begin, char* end) {
  std::transform(begin, end, begin, Lower);
}

bool StrICmp(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return Lower(x) == Lower(y); });
}

std::string StringOfError(const std::error_code& error) {
  return Describe(error);
}
std::string StringOfError(const boost::system::error_code& error) {
  return Describe(error);
}

}  // namespace Mirel
