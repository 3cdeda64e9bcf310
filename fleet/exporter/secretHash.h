#pragma once

#include <array>
#include <string_view>

namespace Fleet {

// What is kept of a secret that somebody will show again: its SHA-256. Two of them compare in the same time
// wherever they differ.
class SecretHash final {
 public:
  explicit SecretHash(std::string_view secret);
  bool operator==(const SecretHash& other) const;

 private:
  std::array<unsigned char, 32> digest_{};
};

}  // namespace Fleet
