#include "tools/host/tokenCommand.h"

#include <cstdio>

#include "lib/token/tokenMint.h"
#include "lib/token/tokenVerifier.h"
#include "platform/corvane/paths.h"

namespace Tools {
namespace {

// Ten years: a token can't be taken back alone.
constexpr std::int64_t kLongestLife = 10LL * 366 * 24 * 3600;

}  // namespace

TokenCommand::TokenCommand(Command& top)
    : command_(top.Subcommand("token", "make a token that this host's daemon takes")) {
  command_.Value("--subject", subject_, "who the token speaks of").Required();
  command_.Value("--entitlement", entitlements_, "what it grants, such as GUEST_DATA_ACCESS; repeatable")
      .Required()
      .Repeatable();
  command_.Value("--expires-in", expiresIn_, "seconds until it expires")
      .Within(std::int64_t{1}, kLongestLife)
      .ShowDefault();
  command_.Value("--out", out_, "a file to put the token into, for its owner alone; default: print it");
}

bool TokenCommand::IsAsked() const {
  return command_.IsGiven();
}

void TokenCommand::Run() const {
  const auto now = NornToken::SecondsNow();
  const NornToken::TokenMint mint(Corvane::Paths::kTokenSigningKeyFile, Corvane::Paths::kTokenKeysFile);
  const auto token = mint.Mint({subject_, entitlements_, now, now + expiresIn_});
  if (out_.empty()) {
    std::puts(token.c_str());
  } else {
    NornToken::WriteTokenFile(out_, token);
  }
}

}  // namespace Tools
