#include "tests/intake/intakeEnvironment.h"

#include <gtest/gtest.h>

#include "apps/nornhesperd/globalContext.h"
#include "testing/guestText.h"
#include "testing/temporaryFolder.h"

namespace Intake {
namespace {

using Testing::TemporaryFolder;

// The context is one for the process: its schema and its logger serve all tests.
class ContextEnvironment final : public testing::Environment {
 public:
  void SetUp() override {
    // Tests of what is found out once in a process need processes of their own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const TemporaryFolder folder;
    auto* context = NornHesper::GlobalContext::Get();
    const std::string config =
        folder.Write("config.xml", "<config><cidCacheMaxEntries>1</cidCacheMaxEntries></config>");
    EXPECT_FALSE(context->InitializeApplication(config.c_str()).HasErrors());
    context->GetLogger()->SetLevel(2);
  }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new ContextEnvironment);

}  // namespace

std::string Text(const std::string& header, const std::string& payload) {
  return R"({"header":{)" + header + R"(},"payload":{)" + payload + "}}";
}

std::string GoodText(std::uint64_t sequence, const std::string& moreHeader) {
  return Testing::PublicationText(sequence, "a.b", "aGk=", moreHeader);
}

}  // namespace Intake
