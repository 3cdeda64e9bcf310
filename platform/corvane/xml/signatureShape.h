#pragma once

#include <string>
#include <vector>

#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/signature.h"

namespace Corvane::Xml::Security {

// What a ds:Signature element says: URIs of algorithms, and what it refers to.
struct SignatureShape {
  std::string canonicalization;
  std::string method;
  std::vector<Reference> references;
  Node keyInfo;  // empty when there is none
};

// Reads it child by child. Throws XmlSecurityException for whatever the element should not hold.
SignatureShape ReadSignature(const Node& signature);

// Throws XmlSecurityException unless all algorithms and transforms are of those in algorithms.h.
void RequireAcceptedAlgorithms(const SignatureShape& shape);

// Whether a signature method is for RSA keys.
bool IsRsaMethod(std::string_view uri);

}  // namespace Corvane::Xml::Security
