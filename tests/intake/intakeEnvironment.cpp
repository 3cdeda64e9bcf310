#include "tests/intake/intakeEnvironment.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "apps/nornhesperd/globalContext.h"

namespace Intake {
namespace {

// The context is one for the process: its schema and its logger serve all tests.
class ContextEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    // Tests of what is found out once in a process need processes of their own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryFolder folder;
    auto* context = NornHesper::GlobalContext::Get();
    EXPECT_FALSE(context->InitializeApplication(folder.Write("config.xml", "<config/>").c_str()).HasErrors());
    context->GetLogger()->SetLevel(2);
  }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new ContextEnvironment);

}  // namespace

TestHost::TestHost(const std::string& faults) : host_(folder_ / ".") {
  folder_.Write("faults", faults);
  setenv("KRELL_HOST_DIR", host_.Directory().c_str(), 1);
}

TestHost::~TestHost() {
  unsetenv("KRELL_HOST_DIR");
}

Krell::VirtualMachine TestHost::AddVm(uint32_t cid, const std::string& biosUuid) {
  return host_.Add({cid, biosUuid, "vm of " + biosUuid, "mgr of " + biosUuid, true});
}

std::string Text(const std::string& header, const std::string& payload) {
  return R"({"header":{)" + header + R"(},"payload":{)" + payload + "}}";
}

std::string GoodText(uint64_t sequence, const std::string& moreHeader) {
  return Text(R"("sequence":)" + std::to_string(sequence) +
                  R"(,"createTime":"2026-11-24T21:15:00Z","topic":"a.b","token":"t")" + moreHeader,
              R"("category":"c","base64":"aGk=")");
}

}  // namespace Intake
