#include "platform/corvane/thread.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <stdexcept>

#include "platform/corvane/system.h"

namespace {

using Corvane::MakeRef;
using Corvane::System::Thread;

TEST(Thread, NameIsCutAndStackIsAsAsked) {
  std::array<char, 16> name{};
  size_t stack = 0;
  MakeRef<Thread>(
      "nornhesperd-backend",
      [&] {
        ::pthread_getname_np(::pthread_self(), name.data(), name.size());
        pthread_attr_t attributes;
        ::pthread_getattr_np(::pthread_self(), &attributes);
        ::pthread_attr_getstacksize(&attributes, &stack);
        ::pthread_attr_destroy(&attributes);
      },
      1'000'001)
      ->Join();
  EXPECT_STREQ(name.data(), "nornhesperd-bac");
  EXPECT_GE(stack, 1'000'001U);
  EXPECT_LT(stack, 2'000'000U);
}

TEST(Thread, RunsOnWithoutItsReference) {
  std::promise<void> released;
  std::promise<int> answer;
  auto thread = MakeRef<Thread>(
      "detached",
      [&] {
        released.get_future().wait();
        answer.set_value(42);
      },
      0);
  thread.reset();
  released.set_value();
  EXPECT_EQ(answer.get_future().get(), 42);
}

TEST(ThreadDeathTest, ExceptionInTheBodyEndsTheProcess) {
  EXPECT_DEATH(MakeRef<Thread>(
                   "thrower", [] { throw std::runtime_error("unexpected"); }, 0)
                   ->Join(),
               "unexpected");
}

TEST(SystemDeathTest, QuickExitRunsNoHandlers) {
  EXPECT_EXIT(
      {
        std::atexit([] { std::abort(); });
        Corvane::System::QuickExit(3);
      },
      testing::ExitedWithCode(3), "^$");
}

}  // namespace
