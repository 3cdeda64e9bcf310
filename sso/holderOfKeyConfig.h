#pragma once

#include "platform/corvane/xml/key.h"

namespace SsoClient {

// The client's own RSA key, with the certificate of its public half.
struct HolderOfKeyConfig {
  Corvane::Ref<Corvane::Xml::Security::Certificate> certificate;
  Corvane::Ref<Corvane::Xml::Security::Key> privateKey;
};

}  // namespace SsoClient
