#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Corvane::Detail {

// 48 hexadecimal digits from the cryptographic generator: who shows them is let in. Ends the process when
// there is no randomness to be had.
std::string MakeSecretText();

// Hash and equality for tables of such texts. How long a look-up takes must not help somebody who tries out
// texts: it depends on the first 64 bits alone, by the hash and the walk through a bucket, and the comparison
// takes the same time wherever the texts differ. The other 128 bits stay unknown.
struct SecretTextHash {
  using is_transparent = void;
  size_t operator()(std::string_view text) const noexcept;
};
struct SecretTextEqual {
  using is_transparent = void;
  bool operator()(std::string_view one, std::string_view other) const noexcept;
};

}  // namespace Corvane::Detail
