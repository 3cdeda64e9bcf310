#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

#include "apps/nornhesperd/auditCallable.h"
#include "bindings/guestDataService.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/l10n.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/callRegistrar.h"

namespace {

using Mirel::Core::AsyncApiResultCb;
using Mirel::Core::MethodIdentifier;
using Mirel::Core::MethodResult;
using NornHesper::AuditRecord;

// Does what a test asks for, with the callback of the call.
class ScriptedProvider final : public Mirel::Core::AsyncApiProvider {
 public:
  std::function<void(const AsyncApiResultCb&)> script = [](const auto&) {};
  const char* userName = nullptr;

  std::string ToString() const override { return "ScriptedProvider"; }
  void Invoke(const std::shared_ptr<const MethodIdentifier>& /*method*/,
              const Mirel::Data::DataValuePtr& /*input*/,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
              const AsyncApiResultCb& result) override {
    if (userName) {
      const auto data = Mirel::Data::StructValue::GetInstance("data");
      data->SetField("username", Mirel::Data::DataValue::Create(userName));
      activation->authData(data);
    }
    script(result);
  }
};

class CallAuditTest : public testing::Test {
 protected:
  void Invoke() {
    registrar->Invoke(std::make_shared<const MethodIdentifier>(MethodIdentifier{"a", "b"}), nullptr,
                      activation, AsyncApiResultCb([this](auto&&...) { log.emplace_back("result"); }));
  }

  std::shared_ptr<Mirel::Core::AsyncActivation> activation =
      Mirel::Core::AsyncActivation::GetInstance(nullptr);
  std::vector<std::string> log;
  std::shared_ptr<ScriptedProvider> provider = std::make_shared<ScriptedProvider>();
  std::shared_ptr<Mirel::Observer::CallRegistrar<AuditRecord>> registrar =
      std::make_shared<Mirel::Observer::CallRegistrar<AuditRecord>>(
          provider, [this](const std::shared_ptr<AuditRecord>& record, bool succeeded) {
            log.push_back(record->at("eventID") + " " + record->at("subject") + " " + record->at("object") +
                          (succeeded ? " good" : " bad"));
          });
};

const auto kElement = MethodResult::GetInstance(Mirel::Data::DataValue::Create("element"));
const auto kError = MethodResult::GetErrorInstance(Mirel::ErrorValue::Create("refused", {}));

TEST_F(CallAuditTest, TheFirstResultIsRecordedBeforeItLeaves) {
  provider->script = [](const auto& result) { result(kError, {}, nullptr); };
  Invoke();
  provider->userName = "root";
  provider->script = [](const auto& result) { result(kElement, {}, nullptr); };
  Invoke();
  EXPECT_EQ(log,
            (std::vector<std::string>{"api.call  a:b bad", "result", "api.call root a:b good", "result"}));
}

TEST_F(CallAuditTest, ACallWithoutAResultIsRecordedWhenItIsLetGo) {
  std::vector<AsyncApiResultCb> held;
  provider->userName = "root";
  provider->script = [&](const auto& result) { held.assign(2, result); };
  Invoke();
  held.pop_back();
  activation->NotifyOnInvoke();
  const std::weak_ptr<Mirel::Core::AsyncActivation> secrets(std::exchange(activation, nullptr));
  EXPECT_TRUE(secrets.expired()) << "an idle stream keeps its caller's password";
  EXPECT_TRUE(log.empty());
  held.clear();
  EXPECT_EQ(log, (std::vector<std::string>{"api.call root a:b bad"}));
}

namespace GuestDataSvc = Com::Tessaly::Norn::Hesper::GuestDataSvc;

class ScriptedService final : public GuestDataSvc::AsyncServiceInterface {
 public:
  std::function<void(const GuestDataSvc::ResultCb&)> script;

  void Subscribe(const std::shared_ptr<const Com::Tessaly::Norn::Hesper::SubscriptionSpec>& /*spec*/,
                 const GuestDataSvc::AsyncActivationPtr& /*activation*/,
                 const GuestDataSvc::ResultCb& result) override {
    script(result);
  }
};

TEST_F(CallAuditTest, AStreamIsRecordedWhenItIsAcceptedAndNotAgain) {
  using Mirel::Data::StructValue;
  const auto service = std::make_shared<ScriptedService>();
  const auto binding = GuestDataSvc::AsyncServiceBinder::BindImplementation(service, nullptr);
  std::shared_ptr<const Mirel::Provider::AsyncApiOperation> subscribe;
  Mirel::MessageList messages;
  ASSERT_TRUE(binding->LookupOperation("subscribe", subscribe, messages));
  const auto spec = StructValue::GetInstance("spec");
  spec->SetField("vm_id_type", Mirel::Data::DataValue::Create("MGR_VM_ID"));
  const auto input = StructValue::GetInstance("input");
  input->SetField("spec", spec);
  provider->script = [&](const auto& result) {
    activation->NotifyOnInvoke();
    subscribe->Call(input, activation, result);
  };

  std::vector<GuestDataSvc::ResultCb> kept;
  service->script = [&](const auto& result) { kept.push_back(result); };
  Invoke();
  EXPECT_EQ(log, (std::vector<std::string>{"api.call  a:b good"}));
  kept.back().error(Mirel::ErrorValue::Create("later", {}));
  kept.clear();
  EXPECT_EQ(log, (std::vector<std::string>{"api.call  a:b good", "result"}));

  log.clear();
  service->script = [](const auto& result) { result.error(Mirel::ErrorValue::Create("refused", {})); };
  Invoke();
  service->script = [](const auto& /*dropped*/) {};
  Invoke();
  service->script = [](const auto& /*result*/) { throw std::runtime_error("no stream"); };
  EXPECT_THROW(Invoke(), std::runtime_error);
  EXPECT_EQ(log, (std::vector<std::string>{"api.call  a:b bad", "result", "api.call  a:b bad",
                                           "api.call  a:b bad"}));
}

}  // namespace
