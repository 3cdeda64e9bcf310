#include "tools/tokenCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "lib/token/tokenMint.h"
#include "lib/token/tokenVerifier.h"
#include "platform/corvane/paths.h"

namespace {

// Ten years: a token can't be taken back alone.
constexpr std::int64_t kLongestLife = 10LL * 366 * 24 * 3600;

}  // namespace

TokenCommand::TokenCommand(CLI::App& app)
    : command_(app.add_subcommand("token", "make a token that this host's daemon takes")) {
  command_->add_option("--subject", subject_, "who the token speaks of")->required();
  command_
      ->add_option("--entitlement", entitlements_, "what it grants, such as GUEST_DATA_ACCESS; repeatable")
      ->required()
      ->allow_extra_args(false);
  command_->add_option("--expires-in", expiresIn_, "seconds until it expires")
      ->check(CLI::Range(std::int64_t{1}, kLongestLife))
      ->capture_default_str();
  command_->add_option("--out", out_, "a file to put the token into, for its owner alone; default: print it");
}

bool TokenCommand::IsAsked() const {
  return command_->parsed();
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
