#include "platform/corvane/object.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using Corvane::MakeRef;
using Corvane::Ref;

struct Base : Corvane::ObjectImpl {
  explicit Base(int& deleted) : deleted_(deleted) {}
  ~Base() override { ++deleted_; }
  int& deleted_;
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

TEST(Ref, CountsAcrossThreads) {
  int deleted = 0;
  {
    const Ref<Base> shared = MakeRef<Base>(deleted);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([shared] {
        for (int round = 0; round < 10000; ++round) {
          const Ref<Base> copy = shared;
        }
      });
    }
  }
  EXPECT_EQ(deleted, 1);
}

TEST(Lockable, ScopeLockExcludesAndShows) {
  Corvane::System::LockableObjectImpl object;
  int sum = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
        for (int round = 0; round < 1000; ++round) {
          const Corvane::System::Synchronized lock(object);
          EXPECT_TRUE(object.IsLocked());
          ++sum;
        }
      });
    }
  }
  EXPECT_EQ(sum, 4000);
  EXPECT_FALSE(object.IsLocked());
}

}  // namespace
