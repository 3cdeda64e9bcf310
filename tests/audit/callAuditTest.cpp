#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "apps/nornhesperd/auditCallable.h"
#include "framework/core/asyncActivation.h"
#include "framework/provider/callRegistrar.h"
#include "tests/audit/lastRecord.h"

namespace {

using Mirel::Core::AsyncApiResultCb;
using Mirel::Core::MethodIdentifier;
using Mirel::Core::MethodResult;
using NornHesper::AuditRecord;

// Does what a test tells it, with the callback of the call.
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
                      activation,
                      AsyncApiResultCb([this](const auto&, const auto&, AsyncApiResultCb::Next&& next) {
                        log.emplace_back("result");
                        nextResult = std::move(next);
                      }));
  }

  std::shared_ptr<Mirel::Core::AsyncActivation> activation =
      Mirel::Core::AsyncActivation::GetInstance(nullptr);
  std::vector<std::string> log;
  AsyncApiResultCb::Next nextResult;
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

TEST_F(CallAuditTest, LaterElementsOfAStreamPassBy) {
  std::shared_ptr<AsyncApiResultCb> later;
  provider->script = [&](const auto& result) {
    result(kElement, {}, [&](std::shared_ptr<AsyncApiResultCb> next) { later = std::move(next); });
  };
  Invoke();
  const auto own = std::make_shared<AsyncApiResultCb>([](auto&&...) {});
  nextResult(own);
  EXPECT_EQ(later, own);
  EXPECT_EQ(log, (std::vector<std::string>{"api.call  a:b good", "result"}));
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

TEST(AuditContext, TheRecordIsBuiltOnce) {
  std::shared_ptr<AuditRecord> written;
  Api::AuditContext<AuditRecord> context([&](const auto& record, bool) { written = record; });
  EXPECT_THROW(context.SetResultCode(0), std::bad_optional_access);
  std::string texts[] = {"a", "b", "early", "late"};
  Api::AuditContext<AuditRecord> told([&](const auto& record, bool) { written = record; });
  told.SetService(texts[0]);
  told.SetOperation(texts[1]);
  told.SetSubject(texts[2]);
  told.Prepare();
  told.SetSubject(texts[3]);
  EXPECT_EQ(texts[0] + texts[1] + texts[2] + texts[3], "early");
  told.SetResultCode(0);
  EXPECT_EQ(*written, (AuditRecord{{"eventID", "api.call"}, {"subject", "early"}, {"object", "a:b"}}));
}

TEST(WriteAuditRecord, ReachesTheHostsLog) {
  const auto record = std::make_shared<AuditRecord>(AuditRecord{
      {"eventID", "api.call"}, {"subject", "root"}, {"object", "a:b"}, {"more", "x"}, {"zeal", "y"}});
  NornHesper::WriteAuditRecord(record, true);
  EXPECT_EQ(record->at("result"), "true");
  auto written = LastRecord();
  EXPECT_EQ(TextOf(written, "event") + TextOf(written, "subject") + TextOf(written, "object"),
            "api.callroota:b");
  EXPECT_TRUE(written["result"].IsTrue());
  EXPECT_EQ(TextOf(written["items"], "more") + TextOf(written["items"], "zeal"), "xy");
  EXPECT_EQ(written["items"].MemberCount(), 2U);

  record->erase("object");
  EXPECT_DEATH(NornHesper::WriteAuditRecord(record, false), "VERIFY sarn/lib/public/api/AuditContext:[0-9]+");
}

}  // namespace
