#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace NornToken {

// What stands in the way of a token, in words for its user.
class MintError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What a token says.
struct TokenClaims {
  std::string subject;
  std::vector<std::string> entitlements;
  std::int64_t issuedAt = 0;
  std::int64_t expiresAt = 0;
};

// Makes tokens that the daemon of this host takes. Its key pair (ES256) lies in a file of mode 0600 and is
// made on first use; the public key is added to the daemon's key file, whose other keys stay. Several
// processes may do this at the same time.
class TokenMint {
 public:
  // Both files are in one folder, made if missing. Throws MintError.
  TokenMint(std::string signingKeyFile, std::string keysFile);

  // A token in compact form. Throws MintError.
  std::string Mint(const TokenClaims& claims) const;

 private:
  std::string signingKeyFile_;
  std::string keysFile_;
};

}  // namespace NornToken
