#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace Corvane::Xml {

// Pieces of markup in a text: tags, attributes, references, comments, CDATA sections, processing
// instructions.
inline constexpr std::size_t kMostMarkup = 16'000;
inline constexpr std::size_t kMostAttributesOfElement = 64;  // namespace declarations included

struct MarkupFault {
  std::size_t offset;
  const char* reason;
};

// Finds in one pass what the XML library would take too long for before it asks anybody: for each attribute
// of an element it looks at all others. What isn't well-formed is for the library to find, which stops there.
std::optional<MarkupFault> FindMarkupFlood(std::string_view text);

// The root element of a well-formed text, from the start of its first tag to the end of its last one.
std::string_view FindRootElement(std::string_view text);

}  // namespace Corvane::Xml
