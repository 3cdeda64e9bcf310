#pragma once

namespace Corvane::Detail {

// Writes "KIND FILE:LINE" to standard error and aborts.
[[noreturn]] void Panic(const char* kind, const char* file, int line) noexcept;

}  // namespace Corvane::Detail

// States that cannot be reached, and conditions that cannot be false. Both stay in release builds.
#define NOT_REACHED() ::Corvane::Detail::Panic("NOT_REACHED", __FILE__, __LINE__)
#define VERIFY(condition) \
  (static_cast<bool>(condition) ? void() : ::Corvane::Detail::Panic("VERIFY", __FILE__, __LINE__))
