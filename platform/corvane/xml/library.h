#pragma once

#include <libxml/tree.h>

#include <string>
#include <string_view>

namespace Corvane::Xml::Detail {

// Brings libxml2 up, once for the process; the first caller does it.
void EnsureInitialized();

inline const xmlChar* Xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}
inline std::string_view View(const xmlChar* text) {
  return text != nullptr ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

std::string ValueOf(const xmlAttr& attribute);
// The same without a copy where the attribute has it in one piece; otherwise it's in the room.
std::string_view ValueOf(const xmlAttr& attribute, std::string& room);

}  // namespace Corvane::Xml::Detail
