#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "lib/public/api/callObserver.h"

namespace Api {

// Keeps what it hears about a call, and says when it is complete.
class CallInfo : public CallObserver, public std::enable_shared_from_this<CallInfo> {
 public:
  using Completion = std::function<void(CallInfo*)>;

  explicit CallInfo(Completion completion) : completion_(std::move(completion)) {}

  void SetStartCode(std::uint32_t code) override { startCode_ = code; }
  void SetOperation(std::string& operation) override { TakeOver(operation_, operation); }
  void SetService(std::string& service) override { TakeOver(service_, service); }
  void SetSubject(std::string& subject) override { TakeOver(subject_, subject); }
  void Prepare() override {}
  void SetResultCode(std::uint32_t code) override {
    resultCode_ = code;
    if (completion_) completion_(this);
  }

  const std::optional<std::uint32_t>& startCode() const { return startCode_; }
  const std::optional<std::string>& operation() const { return operation_; }
  const std::optional<std::string>& service() const { return service_; }
  const std::optional<std::string>& subject() const { return subject_; }
  const std::optional<std::uint32_t>& resultCode() const { return resultCode_; }

 private:
  static void TakeOver(std::optional<std::string>& field, std::string& text) {
    if (!field) field.emplace();
    field->swap(text);
  }

  Completion completion_;
  std::optional<std::uint32_t> startCode_;
  std::optional<std::string> operation_;
  std::optional<std::string> service_;
  std::optional<std::string> subject_;
  std::optional<std::uint32_t> resultCode_;
};

}  // namespace Api
