#include "tests/intake/intakeEnvironment.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "apps/nornhesperd/globalContext.h"

namespace Intake {
namespace {

namespace fs = std::filesystem;

std::string MakeDirectory() {
  std::string name = (fs::temp_directory_path() / "intakeXXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  return name;
}

// The context is one for the process: its schema and its logger serve all tests.
class ContextEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    // Tests of what is found out once in a process need processes of their own.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    InitializeContext("");
    NornHesper::GlobalContext::Get()->GetLogger()->SetLevel(2);
  }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new ContextEnvironment);

}  // namespace

TestHost::TestHost(const std::string& faults) : directory_(MakeDirectory()) {
  std::ofstream(directory_ + "/faults") << faults;
  setenv("KRELL_HOST_DIR", directory_.c_str(), 1);
  host_.emplace(directory_);
}

TestHost::~TestHost() {
  unsetenv("KRELL_HOST_DIR");
  host_.reset();
  fs::remove_all(directory_);
}

Krell::VirtualMachine TestHost::AddVm(uint32_t cid, const std::string& biosUuid) {
  return host_->Add({cid, biosUuid, "vm of " + biosUuid, "mgr of " + biosUuid, true});
}

void InitializeContext(const std::string& settings) {
  const std::string file = MakeDirectory() + "/config.xml";
  std::ofstream(file) << "<config>" << settings << "</config>";
  const NornHesper::Result result = NornHesper::GlobalContext::Get()->InitializeApplication(file.c_str());
  fs::remove_all(fs::path(file).parent_path());
  if (result.HasErrors()) {
    throw std::runtime_error(result.ToString());
  }
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
