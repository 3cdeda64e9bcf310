#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "guest/lib/hesperguest.h"

namespace HesperGuest {

// No answer of the agent is longer.
inline constexpr std::size_t kLongestAnswer = 4096;

// What became of an item.
struct Answer {
  // 0, or the negative errno of its refusal.
  int error = 0;
  std::uint64_t sequence = 0;
  std::string refusal;
  std::string diagnosis;
};

// Whether the publication of an item is short enough, as far as that shows before it is written.
bool IsShort(const hesper_item& item);
// The datagram of an item. False if one of its texts is no UTF-8.
bool WriteItem(const hesper_item& item, std::string& datagram);
// False if the text is no answer.
bool ReadAnswer(std::string_view text, Answer& answer);
// A refusal by its kind.
Answer Refused(std::string_view refusal, std::string_view diagnosis);

}  // namespace HesperGuest
