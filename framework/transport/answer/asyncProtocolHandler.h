#pragma once

#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include "framework/core/dataValue.h"

namespace Mirel::Provider {

// Serves one request.
class AsyncProtocolHandler {
 public:
  using OnRequestRead = std::function<void()>;
  // Gets null when the request was handled, and the connection can carry another one.
  using OnEnd = std::function<void(std::shared_ptr<const ErrorValue>)>;

  // Returns at once; the work is done on the I/O context.
  virtual std::error_code Handle(const OnRequestRead& onRequestRead, const OnEnd& onEnd) = 0;
  virtual ~AsyncProtocolHandler() = default;
};

enum class ProtocolError { OperationMismatch = 1 };

class ProtocolCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const override;
};

const std::error_category& GetProtocolCategory() noexcept;

inline std::error_code make_error_code(ProtocolError error) noexcept {
  return {static_cast<int>(error), GetProtocolCategory()};
}

}  // namespace Mirel::Provider

template <>
struct std::is_error_code_enum<Mirel::Provider::ProtocolError> : std::true_type {};
