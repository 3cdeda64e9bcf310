#include "tests/routing/routingEnvironment.h"

#include <gtest/gtest.h>

#include <string>

#include "apps/nornhesperd/globalContext.h"
#include "testing/temporaryFolder.h"

namespace Routing {
namespace {

using Testing::TemporaryFolder;

// The context is one for the process: its settings, its schema and its logger serve all tests.
class ContextEnvironment final : public testing::Environment {
 public:
  void SetUp() override {
    const TemporaryFolder folder;
    const std::string config =
        folder.Write("config.xml", "<config><log><level>2</level></log><mirelQueueLimit>" +
                                       std::to_string(kQueueLimit) + "</mirelQueueLimit></config>");
    EXPECT_FALSE(NornHesper::GlobalContext::Get()->InitializeApplication(config.c_str()).HasErrors());
  }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new ContextEnvironment);

}  // namespace
}  // namespace Routing
