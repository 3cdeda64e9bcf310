#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Testing {

// The text of a publication, put together without a look at what it is made of, so that a bad one can be had
// too. The payload is base64 already; what is in moreHeader follows the header's members.
inline std::string PublicationText(std::uint64_t sequence, std::string_view topic, std::string_view payload,
                                   std::string_view moreHeader = "") {
  std::string text = R"({"header":{"sequence":)" + std::to_string(sequence);
  text.append(R"(,"createTime":"2026-11-24T21:15:00Z","topic":")").append(topic);
  text.append(R"(","token":"t")").append(moreHeader);
  text.append(R"(},"payload":{"category":"c","base64":")").append(payload);
  return text.append(R"("}})");
}

// A good one of exactly that size: a payload as long as can be, and blanks for what is no whole group of
// four.
inline std::string FilledText(std::uint64_t sequence, std::string_view topic, std::size_t size) {
  const std::size_t left = size - PublicationText(sequence, topic, "").size();
  return PublicationText(sequence, topic, std::string(left / 4 * 4, 'Q')).append(left % 4, ' ');
}

}  // namespace Testing
