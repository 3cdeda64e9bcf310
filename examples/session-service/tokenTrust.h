#pragma once

#include <string>

#include "platform/corvane/mutex.h"
#include "platform/corvane/xml/key.h"
#include "sso/parseToken.h"

namespace SessionExample {

// The certificates of token services that are trusted, in a PEM file which may change while the service runs.
// Safe from any thread.
class TokenTrust {
 public:
  // Throws Corvane::Exception with the file and the reason.
  explicit TokenTrust(std::string fileName);

  // The key of the token's signer. Throws SsoClient::InvalidSignatureException when it isn't trusted.
  Corvane::Ref<Corvane::Xml::Security::Key> Resolve(const SsoClient::SamlToken& token) const;

  // Reads the file again. False when it has not changed or can't be read: then what was read before stays.
  bool Refresh();

 private:
  const std::string fileName_;
  mutable Corvane::Mutex mutex_;
  std::string text_ CORVANE_GUARDED_BY(mutex_);
  SsoClient::KeyResolver resolver_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace SessionExample
