#include "guest/agent/intake/topic.h"

#include <algorithm>

namespace GuestAgent {
namespace {

bool IsOfWord(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

}  // namespace

bool IsTopic(std::string_view text) {
  if (text.empty() || text.size() > kLongestTopic) return false;
  bool wordBegins = true;
  for (const char c : text) {
    if (c == '.' ? wordBegins : !IsOfWord(c)) return false;
    wordBegins = c == '.';
  }
  return !wordBegins;
}

}  // namespace GuestAgent
