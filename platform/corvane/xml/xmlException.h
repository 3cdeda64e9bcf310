#pragma once

#include "platform/corvane/exception.h"

namespace Corvane::Xml {

// A text is not well-formed, or holds what is never accepted. The reason starts with the place.
class XMLParseException final : public Exception {
 public:
  using Exception::Exception;
};

namespace Security {

// A signature, key or certificate that can't be used, or a failure while it is used. A signature that is
// in order and only wrong is no exception.
class XmlSecurityException final : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Security
}  // namespace Corvane::Xml
