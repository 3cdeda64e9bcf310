#pragma once

#include <exception>
#include <string>
#include <utility>

namespace Corvane {

// Base of the exceptions of the base library and of the libraries on top of it.
class Exception : public std::exception {
 public:
  explicit Exception(std::string text) : text_(std::move(text)) {}

  // The reason, one line without a line feed. An override extends it; what() always gives the plain text.
  virtual std::string GetText() const { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

// An argument that the callee can't take.
class InvalidArgumentException final : public Exception {
 public:
  using Exception::Exception;
};

// A call that the object's state doesn't allow.
class InvalidStateException final : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace Corvane
