#pragma once

#include <string>
#include <vector>

#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/signature.h"

namespace Corvane::Xml::Security {

// Reads a ds:Signature element child by child. Throws XmlSecurityException for whatever the element should
// not hold, or holds too much of.
SignatureShape ReadSignature(const Node& signature);

// Throws XmlSecurityException unless all algorithms and transforms are of those in algorithms.h: exclusive
// canonicalization, and the same in each reference, perhaps after the enveloped transform.
void RequireAcceptedAlgorithms(const SignatureShape& shape);

}  // namespace Corvane::Xml::Security
