#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "framework/core/asyncApiProvider.h"
#include "lib/public/api/auditContext.h"

namespace Mirel::Observer {

// What an observer gets as its result code.
inline constexpr std::uint32_t kCallSucceeded = 0;
inline constexpr std::uint32_t kCallFailed = 1;
// The call ended without any result: whoever had it dropped it.
inline constexpr std::uint32_t kCallAbandoned = 2;

namespace Detail {

// The outermost link of the provider chain: has each call observed, also those that links after it refuse.
// An observer gets its result code exactly once: with the call's first result, before the client sees it, so
// that nothing leaves unrecorded; for a stream, when the service has accepted the call, so that neither an
// idle stream nor the end of the process leaves it unrecorded; or, when none of that came, when the last
// holder lets the call go. Later elements of a stream pass this link by.
class CallRegistrarBase : public Core::AsyncApiProvider {
 public:
  explicit CallRegistrarBase(std::shared_ptr<Core::AsyncApiProvider> next) : next_(std::move(next)) {}

  // Gives "CallRegistrarBase".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Core::MethodIdentifier>& method, const Data::DataValuePtr& input,
              const std::shared_ptr<Core::AsyncActivation>& activation,
              const Core::AsyncApiResultCb& result) override;

  virtual std::shared_ptr<Api::CallObserver> MakeObserver() = 0;

 private:
  std::shared_ptr<Core::AsyncApiProvider> next_;
};

}  // namespace Detail

// Hands one finished record a call to the audit callable.
template <typename Map>
class CallRegistrar final : public Detail::CallRegistrarBase {
 public:
  using AuditCb = typename Api::AuditContext<Map>::AuditCb;

  CallRegistrar(std::shared_ptr<Core::AsyncApiProvider> next, AuditCb auditCb)
      : CallRegistrarBase(std::move(next)), auditCb_(std::move(auditCb)) {}

  std::shared_ptr<Api::CallObserver> MakeObserver() override {
    return std::make_shared<Api::AuditContext<Map>>(auditCb_);
  }

 private:
  AuditCb auditCb_;
};

}  // namespace Mirel::Observer
