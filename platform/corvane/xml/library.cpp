#include "platform/corvane/xml/library.h"

#include <libxml/parser.h>
#include <xmlsec/xmlsec.h>

#include <xmlsec/errors.h>  // needs the types of the one above
#include <xmlsec/openssl/crypto.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/corvane/panic.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/wipedString.h"

namespace Corvane::Xml::Detail {
namespace {

// The library has one hook for the whole process; each thread has its own innermost scope.
thread_local ErrorCapture* current = nullptr;

void TakeXmlComplaint(void* capture, xmlErrorPtr error) {
  static_cast<ErrorCapture*>(capture)->Add(error->message != nullptr ? error->message : "unknown fault");
}

const char* NameReason(int reason) {
  for (size_t i = 0; i < XMLSEC_ERRORS_MAX_NUMBER && xmlSecErrorsGetMsg(i) != nullptr; ++i) {
    if (xmlSecErrorsGetCode(i) == reason) {
      return xmlSecErrorsGetMsg(i);
    }
  }
  return "unknown fault";
}

void TakeSecurityComplaint(const char*, int, const char*, const char* object, const char* subject, int reason,
                           const char* message) {
  if (current == nullptr) {
    return;
  }
  std::string text = NameReason(reason);
  for (const char* part : {object, subject, message}) {
    if (part != nullptr && *part != '\0') {
      text.append(", ").append(part);
    }
  }
  current->Add(std::move(text));
}

void Initialize() {
  // Trees, and the texts that are made of them, hold passwords and tokens.
  xmlMemSetup(&WipingFree, &std::malloc, &WipingRealloc, &strdup);
  xmlInitParser();
  VERIFY(xmlSecInit() == 0 && xmlSecOpenSSLInit() == 0);
  // Afterwards, since starting the library sets a callback that writes to standard error.
  xmlSecErrorsSetCallback(&TakeSecurityComplaint);
}

}  // namespace

void EnsureInitialized() {
  static std::once_flag once;
  std::call_once(once, &Initialize);
}

ErrorCapture::ErrorCapture() : outer_(std::exchange(current, this)) {
  EnsureInitialized();
  outerHandler_ = xmlStructuredError;
  outerContext_ = xmlStructuredErrorContext;
  xmlSetStructuredErrorFunc(this, &TakeXmlComplaint);
}

ErrorCapture::~ErrorCapture() {
  xmlSetStructuredErrorFunc(outerContext_, outerHandler_);
  current = outer_;
}

void ErrorCapture::Add(std::string complaint) {
  if (first_.empty()) {
    first_ = std::move(complaint);
  }
}

std::string ErrorCapture::GetText() const {
  const size_t end = first_.find_last_not_of(" \n");
  return end == std::string::npos ? "unknown fault" : Corvane::Detail::EscapeLine(first_.substr(0, end + 1));
}

std::string ValueOf(const xmlAttr& attribute) {
  const xmlNode* text = attribute.children;
  if (text == nullptr) {
    return {};
  }
  if (text->next == nullptr && text->type == XML_TEXT_NODE) {
    return std::string(View(text->content));
  }
  const std::unique_ptr<xmlChar, void (*)(void*)> value(xmlNodeListGetString(attribute.doc, text, 1),
                                                        xmlFree);
  return std::string(View(value.get()));
}

}  // namespace Corvane::Xml::Detail
