#pragma once

#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <string>
#include <string_view>

namespace Corvane::Xml::Detail {

// Brings libxml2 and xmlsec up, once for the process; the first caller does it. What these libraries have to
// say never goes to standard error.
void EnsureInitialized();

// Collects what both libraries complain about on this thread, in this scope.
class ErrorCapture {
 public:
  ErrorCapture();
  ErrorCapture(const ErrorCapture&) = delete;
  ErrorCapture& operator=(const ErrorCapture&) = delete;
  ~ErrorCapture();

  void Add(std::string complaint);
  // The first complaint, which is the nearest to the cause, on one line.
  std::string GetText() const;

 private:
  ErrorCapture* outer_;
  xmlStructuredErrorFunc outerHandler_;
  void* outerContext_;
  std::string first_;
};

inline const xmlChar* Xml(const char* text) {
  return reinterpret_cast<const xmlChar*>(text);
}
inline std::string_view View(const xmlChar* text) {
  return text != nullptr ? std::string_view(reinterpret_cast<const char*>(text)) : std::string_view();
}

std::string ValueOf(const xmlAttr& attribute);

}  // namespace Corvane::Xml::Detail
