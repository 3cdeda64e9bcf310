#pragma once

#include <string>
#include <system_error>

namespace Mirel::Asio {

enum class AsioError { BufferMaxLength = 1 };

// Faults of the put-back layer.
class AsioCategory final : public std::error_category {
 public:
  const char* name() const noexcept override;
  std::string message(int code) const override;
};

const std::error_category& GetAsioCategory() noexcept;

inline std::error_code make_error_code(AsioError error) noexcept {
  return {static_cast<int>(error), GetAsioCategory()};
}

}  // namespace Mirel::Asio

template <>
struct std::is_error_code_enum<Mirel::Asio::AsioError> : std::true_type {};
