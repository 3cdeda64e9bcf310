#pragma once

#include <string>
#include <utility>

namespace Mirel {

// A text that a client needs and nobody else may see, such as the identifier of a session. Wiped when
// destroyed.
class SecretString {
 public:
  explicit SecretString(std::string text) : text_(std::move(text)) {}
  SecretString(const SecretString&) = default;
  SecretString& operator=(const SecretString&) = default;
  ~SecretString();

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// What an operation without a value answers.
struct Void {};

}  // namespace Mirel
