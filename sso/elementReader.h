#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/xml/node.h"

namespace SsoClient {

using Corvane::Xml::SkipWsAndCommentsFilter;

// An attribute that an element may have.
struct AttributeName {
  AttributeName(std::string_view name, std::string_view uri = {}) : localName(name), namespaceUri(uri) {}
  AttributeName(const char* name) : localName(name) {}

  std::string_view localName;
  std::string_view namespaceUri;
};
using AttributeNames = std::initializer_list<AttributeName>;

// All of these throw ParseException.
void CheckElement(const Corvane::Xml::Node& node, std::string_view localName, std::string_view namespaceUri);
// Nothing may be missing, and nothing may be there but these.
void CheckAttributes(const Corvane::Xml::Node& element, AttributeNames required,
                     AttributeNames optional = {});

std::string ReadAttribute(const Corvane::Xml::Node& element, std::string_view attribute);
Corvane::System::DateTime ReadDate(const Corvane::Xml::Node& element, std::string_view attribute);
bool ReadBoolean(const Corvane::Xml::Node& element, std::string_view attribute);
std::uint64_t ReadCount(const Corvane::Xml::Node& element, std::string_view attribute);

// Refuses an element that holds anything but one text, even a comment: so the text that is read is the
// canonical form, which is what is signed.
std::string ReadText(const Corvane::Xml::Node& element);
void CheckEmpty(const Corvane::Xml::Node& element);

// Takes the children of an element in turn.
class Children {
 public:
  explicit Children(const Corvane::Xml::Node& parent) : walker_(parent, kFilter) {}

  bool AtEnd() const { return !walker_.Current(); }
  const Corvane::Xml::Node& Current() const { return walker_.Current(); }
  // Whether the child in turn is an element of that local name.
  bool IsNext(std::string_view localName) const;
  // Gives the child in turn after checking it, and goes on to the next one.
  Corvane::Xml::Node Take(std::string_view localName, std::string_view namespaceUri);
  Corvane::Xml::Node TakeAny();
  // Throws with that text when there is a child left.
  void CheckEnd(const char* fault) const;

 private:
  static const SkipWsAndCommentsFilter kFilter;

  Corvane::Xml::ChildWalker walker_;
};

}  // namespace SsoClient
