#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace Corvane::Detail {

// 48 hexadecimal digits from the cryptographic generator: who shows them is let in. Ends the process when
// there is no randomness to be had.
std::string MakeSecretText();

// The key of such a text in a hash table, kept in place. How long a look-up takes must not help somebody who
// tries out texts: it depends on the first 64 bits alone, which the hash is made of, as the comparison takes
// the same time wherever two texts differ. The other 128 bits stay unknown.
class SecretKey {
 public:
  struct Hash {
    std::size_t operator()(const SecretKey& key) const noexcept;
  };

  // Of a text of another length, which nothing was made of: a key that no other text has.
  explicit SecretKey(std::string_view text);

  bool operator==(const SecretKey& other) const noexcept;
  // For tables that nobody outside looks into.
  bool operator<(const SecretKey& other) const noexcept { return digits_ < other.digits_; }

 private:
  std::array<char, 48> digits_{};
};

}  // namespace Corvane::Detail
