#include <gtest/gtest.h>

#include "sso/parseToken.h"
#include "tests/sso/assertionFactory.h"

namespace {

using namespace SsoClient;

TEST(TokenTest, ReadsWhatTheServiceSigned) {
  const auto signer = AssertionFactory::MakeIdentity();
  const auto text = AssertionFactory::MakeToken(signer, {});
  const auto token = ParseToken(text, [&](const SamlToken&) { return signer.certificate->GetPublicKey(); });
  EXPECT_EQ(token->GetText(), text);
  EXPECT_EQ(token->GetSubject(), (Subject{"admin", "example.local"}));
}

}  // namespace
