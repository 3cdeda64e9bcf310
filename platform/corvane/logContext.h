#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Corvane::Service {

// The value of one key, or that it has none.
struct LogContext {
  std::string key;
  std::optional<std::string> value;
};

// Sets the calling thread's value for a key, or takes it away, and gives what was there. Each record that the
// thread writes to a Logger shows the values after its text, " opId=1f0c", in the order in which the keys
// came. It is not handed on to other threads.
LogContext SetLogContext(std::string_view key, std::optional<std::string> value);

// Puts back what SetLogContext has replaced:
//
//   const LogContextOnStack context(SetLogContext("opId", id));
class [[nodiscard]] LogContextOnStack {
 public:
  explicit LogContextOnStack(LogContext replaced) : replaced_(std::move(replaced)) {}
  LogContextOnStack(const LogContextOnStack&) = delete;
  LogContextOnStack& operator=(const LogContextOnStack&) = delete;
  ~LogContextOnStack() { SetLogContext(replaced_.key, std::move(replaced_.value)); }

 private:
  LogContext replaced_;
};

// What the calling thread's records show after their text; empty when nothing is set.
std::string GetLogContextText();

}  // namespace Corvane::Service
