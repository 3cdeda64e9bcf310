#include "bindings/guestDataTypes.h"

#include <iterator>
#include <utility>

namespace Com::Tessaly::Norn::Hesper {

VmIdentifierType VmIdentifierType::FromText(std::string text) {
  VmIdentifierType type;
  for (std::uint32_t i = 0; i < std::size(Strings::values); ++i) {
    if (text == Strings::values[i]) type.value = i;
  }
  type.raw = std::move(text);
  return type;
}

}  // namespace Com::Tessaly::Norn::Hesper
