#pragma once

#include <cstddef>
#include <list>
#include <string>
#include <vector>

#include "platform/corvane/mutex.h"
#include "platform/corvane/xml/key.h"

namespace SsoClient {

// The signers that the anchors were found to trust, by the certificates that a token showed for it: reading
// and checking these costs more than all the rest of a token. Holds for one set of anchors. Used by any
// thread.
class SignerCache {
 public:
  // Beyond that the one that was asked for longest ago is forgotten.
  static constexpr std::size_t kMostSigners = 16;

  // The signer's key; null for one that isn't known. Its certificate, the anchor and what is between them
  // have to be in their validity time now. The certificates are in DER, the signer's first.
  Corvane::Ref<Corvane::Xml::Security::Key> Find(const std::vector<std::string>& certificates);

  // Requires: the certificates have just led to the chain, which isn't empty. Keeps it only when they are its
  // beginning, to the byte. Of these there are as many as the authorities issued, while anybody can add
  // others that lead nowhere, or encode the same ones in other ways, to have good ones forgotten.
  void Keep(const std::vector<std::string>& certificates,
            const std::vector<Corvane::Ref<Corvane::Xml::Security::Certificate>>& chain,
            const Corvane::Ref<Corvane::Xml::Security::Key>& key);

 private:
  struct Signer {
    std::vector<std::string> certificates;
    std::vector<Corvane::Ref<Corvane::Xml::Security::Certificate>> chain;
    Corvane::Ref<Corvane::Xml::Security::Key> key;
  };

  Corvane::Mutex mutex_;
  std::list<Signer> signers_ CORVANE_GUARDED_BY(mutex_);  // the one that was asked for last is the first
};

}  // namespace SsoClient
