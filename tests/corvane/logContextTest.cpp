#include "platform/corvane/logContext.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "platform/corvane/log.h"

namespace {

using Corvane::Service::LogContextOnStack;
using Corvane::Service::Logger;
using Corvane::Service::SetLogContext;

// The line that a record of the text "x" becomes, from its text on.
std::string Line() {
  testing::internal::CaptureStderr();
  Logger::sDefaultLogger->Write(3, "x");
  const std::string line = testing::internal::GetCapturedStderr();
  return line.substr(line.find(" error ") + 7);
}

TEST(LogContextTest, RecordsShowItUntilTheScopeEnds) {
  EXPECT_EQ(Line(), "x\n");
  {
    const LogContextOnStack outer(SetLogContext("opId", "1f0c"));
    const LogContextOnStack other(SetLogContext("vm", "a"));
    EXPECT_EQ(Line(), "x opId=1f0c vm=a\n");
    try {
      const LogContextOnStack inner(SetLogContext("opId", "1f0c-2\nforged"));
      const LogContextOnStack without(SetLogContext("vm", std::nullopt));
      EXPECT_EQ(Line(), "x opId=\"1f0c-2\\nforged\"\n");
      SetLogContext("opId", R"(1 vm=forged" \)");
      EXPECT_EQ(Line(), "x opId=\"1 vm=forged\\\" \\\\\"\n");
      throw std::runtime_error("bad");
    } catch (const std::runtime_error&) {
      EXPECT_EQ(Line(), "x opId=1f0c vm=a\n");
    }
    std::thread([] { EXPECT_EQ(Line(), "x\n"); }).join();
  }
  EXPECT_EQ(Line(), "x\n");
}

}  // namespace
