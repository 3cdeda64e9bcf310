#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "lib/public/api/callInfo.h"

namespace Api {

// Makes the audit record of one call, and hands it with the call's success to the audit callable. Map maps
// strings to strings. The record is built once; what comes later does not change it. Building throws
// std::bad_optional_access when service or operation is missing.
template <typename Map>
class AuditContext final : public CallInfo {
 public:
  using AuditCb = std::function<void(const std::shared_ptr<Map>&, bool)>;

  explicit AuditContext(AuditCb auditCb)
      : CallInfo([](CallInfo* info) { static_cast<AuditContext*>(info)->Complete(); }),
        auditCb_(std::move(auditCb)) {}

  void Prepare() override {
    if (record_) return;
    record_ = std::make_shared<Map>();
    record_->insert({"eventID", "api.call"});
    record_->insert({"subject", subject().value_or("")});
    record_->insert({"object", service().value() + ":" + operation().value()});
  }

 private:
  void Complete() {
    if (!auditCb_) return;
    Prepare();
    auditCb_(record_, resultCode() == 0U);
  }

  AuditCb auditCb_;
  std::shared_ptr<Map> record_;
};

}  // namespace Api
