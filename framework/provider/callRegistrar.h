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
// The call ended without any result: its last holder dropped it.
inline constexpr std::uint32_t kCallAbandoned = 2;

namespace Detail {

// The outermost link of the provider chain: has each call observed, also those that later links refuse. An
// observer gets its result code exactly once, at the first of these events:
//
// - The call's first result comes. The client sees it later, so that no answer is sent unrecorded.
// - The service has accepted a call whose answer is a stream, which may be idle until the process ends.
// - The last holder drops the call.
//
// Later elements of a stream don't come to the observer.
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

// Gives the audit callable one finished record for each call.
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
