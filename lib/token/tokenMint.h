#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace NornToken {

// Why no token can be made, in words for its user.
class MintError final : public std::runtime_error {
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

// Puts a token into a file, new or replaced as a whole, that its owner alone may read, whatever the umask.
// Throws MintError, also where the path names a link or anything else but a regular file.
void WriteTokenFile(const std::string& path, const std::string& token);

}  // namespace NornToken
