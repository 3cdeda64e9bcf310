#include "examples/session-service/tokenTrust.h"

#include <fstream>
#include <sstream>
#include <utility>

#include "platform/corvane/exception.h"
#include "sso/anchorKeyResolver.h"

namespace SessionExample {
namespace {

std::string ReadFile(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

SsoClient::KeyResolver MakeResolver(const std::string& pem) {
  return SsoClient::MakeAnchorKeyResolver(Corvane::Xml::Security::TrustAnchors::FromPem(pem));
}

}  // namespace

TokenTrust::TokenTrust(std::string fileName) : fileName_(std::move(fileName)), text_(ReadFile(fileName_)) {
  try {
    resolver_ = MakeResolver(text_);
  } catch (const Corvane::Exception& fault) {
    throw Corvane::Exception(fileName_ + ": " + fault.GetText());
  }
}

Corvane::Ref<Corvane::Xml::Security::Key> TokenTrust::Resolve(const SsoClient::SamlToken& token) const {
  Corvane::MutexLock lock(mutex_);
  const auto resolver = resolver_;
  lock.unlock();
  return resolver(token);
}

bool TokenTrust::Refresh() {
  auto text = ReadFile(fileName_);
  const Corvane::MutexLock lock(mutex_);
  if (text == text_) return false;
  try {
    resolver_ = MakeResolver(text);
  } catch (const Corvane::Exception&) {
    return false;
  }
  text_ = std::move(text);
  return true;
}

}  // namespace SessionExample
