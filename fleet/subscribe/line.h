#pragma once

#include <optional>
#include <string>

#include "fleet/stream/element.h"

namespace Fleet {

// A publication on one line that any terminal may show, without the line's end. A fleet's names its host.

// As JSON. With a host it has a member "host", which is the only one of that name.
std::string JsonLine(const Element& element, const std::optional<std::string>& host);

// For people: time, VM, "history" if it is, topic, and the payload as text, or how many bytes it has and the
// first of them in base64. Words have no blanks in them, so that no guest can write another line's words.
std::string TextLine(const Element& element, const std::optional<std::string>& host);

}  // namespace Fleet
