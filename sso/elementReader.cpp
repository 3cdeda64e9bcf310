#include "sso/elementReader.h"

#include <algorithm>
#include <charconv>

#include "sso/ssoExceptions.h"

namespace SsoClient {

using Corvane::System::DateTime;
using Corvane::Xml::Node;
using Corvane::Xml::NodeType;

namespace {

std::string PathOf(const Node& element, std::string_view attribute) {
  return std::string(element.GetLocalName()).append("/@").append(attribute);
}

template <typename Names, typename Name>
bool Holds(const Names& names, const Name& sought) {
  return std::any_of(names.begin(), names.end(), [&](const auto& name) {
    return name.localName == sought.localName && name.namespaceUri == sought.namespaceUri;
  });
}

}  // namespace

const SkipWsAndCommentsFilter Children::kFilter;

void CheckElement(const Node& node, std::string_view localName, std::string_view namespaceUri) {
  if (!node || !node.IsElement() || node.GetLocalName() != localName) {
    throw ParseException("Expected element '" + std::string(localName) + "' not found.");
  }
  if (node.GetNamespace() != namespaceUri) {
    throw ParseException("Element '" + std::string(localName) + "' has unexpected namespace");
  }
}

void CheckAttributes(const Node& element, AttributeNames required, AttributeNames optional) {
  const auto present = element.GetAttributeNames();
  for (const AttributeName& attribute : required) {
    if (!Holds(present, attribute)) {
      throw ParseException("Node '" + std::string(element.GetLocalName()) +
                           " is missing required attribute '" + std::string(attribute.localName));
    }
  }
  for (const auto& attribute : present) {
    if (!Holds(required, attribute) && !Holds(optional, attribute)) {
      throw ParseException("Unexpected attribute '" + std::string(attribute.localName) + "' on element '" +
                           std::string(element.GetLocalName()));
    }
  }
}

std::string ReadAttribute(const Node& element, std::string_view attribute) {
  return element.GetAttribute(attribute).value_or("");
}

// XML Schema knows the letters of RFC 3339 in upper case alone, and no blank between date and time.
DateTime ReadDate(const Node& element, std::string_view attribute) {
  const std::string value = ReadAttribute(element, attribute);
  try {
    if (std::any_of(value.begin(), value.end(), [](char c) { return c == 't' || c == 'z' || c == ' '; })) {
      throw Corvane::DateTimeFormatException("no date-time of XML Schema");
    }
    return DateTime::Parse(value);
  } catch (const Corvane::DateTimeFormatException&) {
    throw ParseException(PathOf(element, attribute) + " is not a date");
  }
}

bool ReadBoolean(const Node& element, std::string_view attribute) {
  const std::string value = ReadAttribute(element, attribute);
  const bool isTrue = value == "true" || value == "1";
  if (!isTrue && value != "false" && value != "0") {
    throw ParseException(PathOf(element, attribute) + " is not a Boolean");
  }
  return isTrue;
}

std::uint64_t ReadCount(const Node& element, std::string_view attribute) {
  const std::string value = ReadAttribute(element, attribute);
  const char* end = value.data() + value.size();
  std::uint64_t count = 0;
  const auto [stop, error] = std::from_chars(value.data(), end, count);
  if (error != std::errc() || stop != end) {
    throw ParseException(PathOf(element, attribute) + " is not a non-negative integer.");
  }
  return count;
}

std::string ReadText(const Node& element) {
  const Node text = element.GetFirstChild();
  const SkipWsAndCommentsFilter filter;
  if (!text || text.GetType() != NodeType::Text || text.GetNextSibling() || !filter.Accepts(text)) {
    throw ParseException("Element '" + std::string(element.GetLocalName()) +
                         "' must only have textual content (but has extra children or is empty).");
  }
  return std::string(text.GetText());
}

void CheckEmpty(const Node& element) {
  if (!Children(element).AtEnd()) {
    throw ParseException("Element '" + std::string(element.GetLocalName()) + "' must be empty");
  }
}

bool Children::IsNext(std::string_view localName) const {
  return !AtEnd() && Current().IsElement() && Current().GetLocalName() == localName;
}

Node Children::Take(std::string_view localName, std::string_view namespaceUri) {
  CheckElement(Current(), localName, namespaceUri);
  return TakeAny();
}

Node Children::TakeAny() {
  Node child = Current();
  walker_.Next();
  return child;
}

void Children::CheckEnd(const char* fault) const {
  if (!AtEnd()) throw ParseException(fault);
}

}  // namespace SsoClient
