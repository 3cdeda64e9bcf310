#pragma once

#include <string>
#include <string_view>

namespace Mirel {

// The texts that a library holds for its message identifiers; each library has its own tag and specialises
// this. A template has one field for one argument, and an unknown identifier has a general template.
template <typename Tag>
struct Message;

struct CoreTag;

template <>
struct Message<CoreTag> {
  static std::string DefaultMessageForId(std::string_view id);
};

}  // namespace Mirel
