#include "sso/signerCache.h"

#include <algorithm>

namespace SsoClient {

using Corvane::MutexLock;
using Corvane::Ref;
using Corvane::Xml::Security::Certificate;
using Corvane::Xml::Security::Key;

namespace {

bool IsBeginning(const std::vector<std::string>& certificates, const std::vector<Ref<Certificate>>& chain) {
  return certificates.size() <= chain.size() &&
         std::equal(
             certificates.begin(), certificates.end(), chain.begin(),
             [](const std::string& der, const Ref<Certificate>& link) { return der == link->GetDer(); });
}

bool AreInTime(const std::vector<Ref<Certificate>>& chain) {
  return std::all_of(chain.begin(), chain.end(), [](const auto& link) { return link->IsInTime(); });
}

}  // namespace

Ref<Key> SignerCache::Find(const std::vector<std::string>& certificates) {
  const MutexLock lock(mutex_);
  const auto found = std::find_if(signers_.begin(), signers_.end(),
                                  [&](const Signer& signer) { return signer.certificates == certificates; });
  if (found == signers_.end() || !AreInTime(found->chain)) return nullptr;
  signers_.splice(signers_.begin(), signers_, found);
  return found->key;
}

void SignerCache::Keep(const std::vector<std::string>& certificates,
                       const std::vector<Ref<Certificate>>& chain, const Ref<Key>& key) {
  if (!IsBeginning(certificates, chain)) return;
  const MutexLock lock(mutex_);
  // Another thread may have found the same, or this one another chain because a certificate has run out.
  signers_.remove_if([&](const Signer& signer) { return signer.certificates == certificates; });
  signers_.push_front({certificates, chain, key});
  if (signers_.size() > kMostSigners) signers_.pop_back();
}

}  // namespace SsoClient
