#include "platform/corvane/xml/library.h"

#include <libxml/parser.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>

#include "platform/corvane/wipedString.h"

namespace Corvane::Xml::Detail {
namespace {

void Initialize() {
  // Trees, and the texts that are made of them, hold passwords and tokens.
  xmlMemSetup(&WipingFree, &std::malloc, &WipingRealloc, &strdup);
  xmlInitParser();
}

}  // namespace

void EnsureInitialized() {
  static std::once_flag once;
  std::call_once(once, &Initialize);
}

std::string ValueOf(const xmlAttr& attribute) {
  std::string room;
  return std::string(ValueOf(attribute, room));
}

std::string_view ValueOf(const xmlAttr& attribute, std::string& room) {
  const xmlNode* text = attribute.children;
  if (text == nullptr) return {};
  if (text->next == nullptr && text->type == XML_TEXT_NODE) return View(text->content);
  const std::unique_ptr<xmlChar, void (*)(void*)> value(xmlNodeListGetString(attribute.doc, text, 1),
                                                        xmlFree);
  return room = View(value.get());
}

}  // namespace Corvane::Xml::Detail
