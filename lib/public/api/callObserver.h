#pragma once

#include <cstdint>
#include <string>

namespace Api {

// Learns about one call, step by step. The operations that take a string take it over and leave the argument
// with what was there before.
class CallObserver {
 public:
  virtual void SetStartCode(std::uint32_t code) = 0;
  virtual void SetOperation(std::string& operation) = 0;
  virtual void SetService(std::string& service) = 0;
  virtual void SetSubject(std::string& subject) = 0;
  // All that will be known before the result is known.
  virtual void Prepare() = 0;
  // 0 means that the call succeeded. Called once, last.
  virtual void SetResultCode(std::uint32_t code) = 0;
  virtual ~CallObserver() = default;
};

}  // namespace Api
