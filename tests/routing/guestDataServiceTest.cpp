#include <gtest/gtest.h>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/guestDataImpl.h"
#include "apps/nornhesperd/messageCatalogue.h"
#include "bindings/guestDataService.h"
#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/provider/asyncApiInterface.h"
#include "framework/provider/localization.h"
#include "tests/routing/scriptedClient.h"

namespace {

namespace GuestDataSvc = Com::Tessaly::Norn::Hesper::GuestDataSvc;
using namespace Mirel::Data;

DataValuePtr Struct(std::vector<CompoundValue::Field> fields) {
  auto value = StructValue::GetInstance("");
  for (auto& [name, field] : fields) value->AppendField(name, std::move(field));
  return value;
}

DataValuePtr List(std::vector<DataValuePtr> elements) {
  auto value = ListValue::GetInstance();
  for (auto& element : elements) value->Add(std::move(element));
  return value;
}

DataValuePtr Text(const char* text) {
  return DataValue::Create(text);
}

// Calls "subscribe" with a spec through the binder, as the provider does.
class GuestDataServiceTest : public ::testing::Test {
 protected:
  std::shared_ptr<const Mirel::Core::MethodResult> Call(const DataValuePtr& input) {
    const auto localizer = std::make_shared<const Mirel::L10n::Localizer>(
        std::list<std::string>{"en_US"}, &NornHesper::MessageCatalogueLookup,
        Mirel::L10n::LocalizerHelpers::GetDefaultFormatter(), Mirel::L10n::LocalizerSpec{});
    const auto service = GuestDataSvc::AsyncServiceBinder::BindImplementation(
        std::make_shared<GuestDataSvc::GuestDataImpl>(), localizer);
    std::shared_ptr<const Mirel::Provider::AsyncApiOperation> operation;
    Mirel::MessageList messages;
    EXPECT_TRUE(service->LookupOperation("subscribe", operation, messages));
    std::shared_ptr<const Mirel::Core::MethodResult> answer;
    const Mirel::Core::AsyncApiResultCb result([&](const auto& given, const auto&, auto&& next) {
      EXPECT_FALSE(answer) << "answered twice";
      EXPECT_FALSE(next);
      answer = given;
    });
    const auto context = std::make_shared<const Mirel::Core::ExecutionContext>();
    operation->Call(input, Mirel::Core::AsyncActivation::GetInstance(context), result);
    return answer;
  }

  std::shared_ptr<const Mirel::Core::MethodResult> CallSpec(std::vector<CompoundValue::Field> spec) {
    return Call(Struct({{"spec", Struct(std::move(spec))}}));
  }

  // The error's last name component and its message: "invalid_argument: Text".
  std::string Refusal(const std::shared_ptr<const Mirel::Core::MethodResult>& answer) {
    if (!answer || !answer->error) return "(no error)";
    const auto text = answer->error->ToString();
    return text.substr(text.rfind('.', text.find(':')) + 1);
  }
};

TEST_F(GuestDataServiceTest, RefusesBadArgumentsInOrder) {
  const auto mgr = Text("MGR_VM_ID");
  const auto topics = [](const char* prefix) { return List({Text("good"), Text(prefix)}); };
  EXPECT_EQ(Refusal(CallSpec({{"vm_id_type", Text("SERIAL")}, {"topic_prefixes", topics("")}})),
            "unsupported: Virtual machine identifier type not supported SERIAL");
  // The catalogue's own test has this text to its end.
  const auto unnamed =
      Refusal(CallSpec({{"vm_id_type", mgr}, {"vm_filter", List({Struct({{"bios_uuid", Text("b")}})})}}));
  EXPECT_TRUE(unnamed.starts_with(
      "invalid_argument: Required virtual machine identifier of MGR_VM_ID is not foundin a filter "))
      << unnamed;
  EXPECT_EQ(Refusal(CallSpec({{"vm_id_type", mgr}, {"topic_prefixes", topics("")}})),
            "invalid_argument: Specified topic prefix should not be empty");
  EXPECT_EQ(Refusal(CallSpec({{"vm_id_type", mgr}, {"topic_prefixes", topics(".")}})),
            "invalid_argument: Specified topic prefix should not have leading dot");
  EXPECT_EQ(Refusal(CallSpec({{"vm_id_type", mgr}, {"topic_prefixes", topics("a.b.")}})),
            "invalid_argument: Specified topic prefix should not have trailing dot");
  EXPECT_EQ(Refusal(CallSpec({{"vm_id_type", mgr}, {"past_seconds", DataValue::Create(std::int64_t{-1})}})),
            "invalid_argument: Specified past seconds should not be a negative value");
}

TEST_F(GuestDataServiceTest, RefusesArgumentsOfAnotherFormAndNamesThePlace) {
  EXPECT_EQ(Refusal(Call(nullptr)).substr(0, 16), "unexpected_input");
  EXPECT_EQ(Refusal(Call(Text("x"))).substr(0, 16), "unexpected_input");
  const auto mgr = Text("MGR_VM_ID");
  const auto place = [&](const char* text, const std::shared_ptr<const Mirel::Core::MethodResult>& answer) {
    EXPECT_NE(Refusal(answer).find(text), std::string::npos) << Refusal(answer);
  };
  place("input.spec.vm_id_type: missing", CallSpec({}));
  place("input.spec.topicPrefixes: unknown field",
        CallSpec({{"vm_id_type", mgr}, {"topicPrefixes", List({})}}));
  place("input.spec.topic_prefixes[1]: expected a string",
        CallSpec({{"vm_id_type", mgr}, {"topic_prefixes", List({Text("a"), DataValue::Create(true)})}}));
  place("input.spec.vm_filter[0].mgr_vm_id: expected a string",
        CallSpec({{"vm_id_type", mgr}, {"vm_filter", List({Struct({{"mgr_vm_id", List({})}})})}}));
  place("input.spec.past_seconds: expected an integer",
        CallSpec({{"vm_id_type", mgr}, {"past_seconds", Text("1")}}));
}

TEST_F(GuestDataServiceTest, GoodCallStaysOpenAndRegistersOnce) {
  auto& registry = NornHesper::GlobalContext::Get()->GetRegistry();
  const auto before = registry.Register([](const NornHesper::PublicationPtr&) {});
  registry.Unregister(before);
  EXPECT_EQ(CallSpec({{"vm_id_type", Text("BIOS_UUID")},
                      {"vm_filter", List({Struct({{"bios_uuid", Text("b")}, {"vm_uuid", Text("u")}})})},
                      {"topic_prefixes", List({Text("a..b"), Text("a")})},
                      {"past_seconds", std::make_shared<OptionalValue>(nullptr)}}),
            nullptr);
  EXPECT_EQ(
      CallSpec({{"vm_id_type", Text("BIOS_UUID")}, {"topic_prefixes", List({Text("a"), Text("")})}})->output,
      nullptr);
  EXPECT_EQ(registry.Register([](const NornHesper::PublicationPtr&) {}), before + 2);
  registry.Unregister(before + 1);
  registry.Unregister(before + 2);
}

}  // namespace
