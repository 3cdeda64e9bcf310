#include "fleet/stream/seen.h"

#include <charconv>
#include <string>

namespace Fleet {

bool Seen::Add(const Element& element) {
  const auto digits = IdentityOf(element);
  const char* const begin = digits.data();
  const char* const middle = begin + digits.size() / 2;
  Identity identity{};
  std::from_chars(begin, middle, identity[0], 16);
  std::from_chars(middle, begin + digits.size(), identity[1], 16);
  if (!all_.insert(identity).second) return false;
  order_.push_back(identity);
  if (order_.size() > most_) {
    all_.erase(order_.front());
    order_.pop_front();
  }
  return true;
}

}  // namespace Fleet
