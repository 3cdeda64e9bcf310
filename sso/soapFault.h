#pragma once

namespace Corvane::Xml {
class Node;
}

namespace SsoClient {

// Throws what the fault in a SOAP 1.1 body means: InvalidCredentialsException, SsoException, or
// ParseException for a code that can't be read. Returns when there is none.
void ThrowFault(const Corvane::Xml::Node& body);

}  // namespace SsoClient
