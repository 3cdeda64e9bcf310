#pragma once

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace NornHesper {

// Whether the prefix takes the topic: whole dot-separated components only. "a.b" takes "a.b" and "a.b.c" but
// not "a.bc".
inline bool IsUnder(std::string_view topic, std::string_view prefix) {
  return topic.starts_with(prefix) && (topic.size() == prefix.size() || topic[prefix.size()] == '.');
}

// True when one of the prefixes takes the topic.
//
// The prefixes are sorted bytewise. The search starts at the last one that isn't above the topic and walks
// towards the first. It ends at a prefix that isn't a textual beginning of the topic, even when a shorter
// one in front of it would match: clients rely on this order ("a" and "a.c" don't take "a.d").
inline bool TopicMatches(std::string_view topic, const std::vector<std::string>& prefixes) {
  const auto above = std::upper_bound(prefixes.begin(), prefixes.end(), topic);
  for (auto candidate = above; candidate != prefixes.begin();) {
    --candidate;
    if (!topic.starts_with(*candidate)) return false;
    if (IsUnder(topic, *candidate)) return true;
  }
  return false;
}

}  // namespace NornHesper
