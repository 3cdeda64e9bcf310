#include "platform/corvane/object.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <array>

#include "platform/corvane/thread.h"

namespace {

using Corvane::MakeRef;
using Corvane::Ref;

struct Base : Corvane::ObjectImpl {
  explicit Base(int& deletions) : deleted(deletions) {}
  ~Base() override { ++deleted; }
  int& deleted;
};

struct Derived : Base {
  using Base::Base;
};

TEST(Ref, LastReferenceDeletes) {
  int deleted = 0;
  {
    Ref<Derived> first = MakeRef<Derived>(deleted);
    Ref<Base> second = first;
    EXPECT_TRUE(first == second);
    Ref<Base> third = std::move(second);
    EXPECT_TRUE(second == nullptr);  // NOLINT(bugprone-use-after-move): the moved-from state is the subject
    first.reset();
    const Ref<Base>& alias = third;
    third = alias;
    EXPECT_EQ(deleted, 0);
    third = MakeRef<Derived>(deleted);
    EXPECT_EQ(deleted, 1);
  }
  EXPECT_EQ(deleted, 2);
}

TEST(Thread, NameIsCutToTheKernelsLimit) {
  std::array<char, 16> name{};
  const auto body = [&] { ::pthread_getname_np(::pthread_self(), name.data(), name.size()); };
  MakeRef<Corvane::System::Thread>("nornhesperd-backend", body, 100'000)->Join();
  EXPECT_STREQ(name.data(), "nornhesperd-bac");
}

}  // namespace
