#include "apps/nornhesperd/topicFilter.h"

#include <algorithm>

namespace NornHesper {

bool TopicMatches(std::string_view topic, const std::vector<std::string>& prefixes) {
  const auto above = std::upper_bound(prefixes.begin(), prefixes.end(), topic);
  for (auto candidate = above; candidate != prefixes.begin();) {
    --candidate;
    if (!topic.starts_with(*candidate)) return false;
    const bool wholeComponent = topic.size() == candidate->size() || topic[candidate->size()] == '.';
    if (wholeComponent) return true;
  }
  return false;
}

}  // namespace NornHesper
