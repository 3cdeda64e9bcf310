#pragma once

#include <string>
#include <string_view>

#include "platform/corvane/xml/node.h"

namespace SsoClient {

// XML 1.0, section 2.3.
inline constexpr std::string_view kXmlSpace = " \t\r\n";

// The child element of that name; empty when there is none. Throws SsoException with the given text when
// there are two.
Corvane::Xml::Node FindOnlyChild(const Corvane::Xml::Node& parent, std::string_view localName,
                                 std::string_view namespaceUri, const char* faultOfTwo);

// The text of an element without child elements, without the white space around it. Throws SsoException.
std::string GetTextOf(const Corvane::Xml::Node& element);

}  // namespace SsoClient
