#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace NornHesper {

// True when one of the prefixes takes the topic. A prefix takes whole dot-separated components only: "a.b"
// takes "a.b" and "a.b.c" but not "a.bc".
//
// The prefixes are sorted bytewise. The search starts at the last one that isn't above the topic and walks
// towards the first. It ends at a prefix that isn't a textual beginning of the topic, even when a shorter
// one in front of it would match: clients rely on this order ("a" and "a.c" don't take "a.d").
bool TopicMatches(std::string_view topic, const std::vector<std::string>& prefixes);

}  // namespace NornHesper
