#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "platform/corvane/fileDescriptor.h"
#include "tests/keeping/keeper.h"

namespace {

using namespace Testing;

// What the child does until it is killed: everything that an agent does.
[[noreturn]] void KeepForEver(const std::string& path, int confirmed) {
  const ClockDouble clock;
  GuestAgent::Store store(path, {}, clock, {});
  for (;;) {
    const std::vector<GuestAgent::Item> items{MakeItem("a", 3000), MakeItem("b")};
    const auto first = store.Keep(items);
    if (!first || !store.IsOnDisk() || write(confirmed, &*first, sizeof *first) != sizeof *first) _exit(1);
    store.MarkSent(*first);
    const auto passing = store.Keep(std::span(items).first(1));
    if (passing) store.Remove(*passing);
  }
}

class Child {
 public:
  explicit Child(const std::string& path) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    confirmed_ = Corvane::FileDescriptor(ends[0]);
    const Corvane::FileDescriptor its(ends[1]);
    pid_ = fork();
    if (pid_ == 0) KeepForEver(path, its.Get());
  }
  ~Child() {
    if (pid_ > 0) Kill();
  }

  // The next number that was confirmed; 0 if it has ended.
  std::uint64_t Next() {
    std::uint64_t number = 0;
    return read(confirmed_.Get(), &number, sizeof number) == sizeof number ? number : 0;
  }
  // Gives whether it lived until then.
  bool Kill() {
    kill(pid_, SIGKILL);
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFSIGNALED(status);
  }

 private:
  Corvane::FileDescriptor confirmed_;
  pid_t pid_ = -1;
};

TEST(CrashTest, WhatWasConfirmedIsThere) {
  Keeper keeper;
  keeper.Close();
  std::minstd_rand random(1);
  std::vector<std::uint64_t> confirmed;
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(4);
  int crashes = 0;
  for (; crashes < 300 && std::chrono::steady_clock::now() < end; ++crashes) {
    Child child(keeper.path);
    const auto take = [&](std::uint64_t number) {
      ASSERT_GT(number, confirmed.empty() ? 0 : confirmed.back() + 1);
      confirmed.push_back(number);
    };
    for (auto many = random() % 6; many > 0; --many) take(child.Next());
    // So that it is hit anywhere in what it does next.
    usleep(static_cast<useconds_t>(random() % 3000));
    ASSERT_TRUE(child.Kill());
    while (const auto number = child.Next()) take(number);
  }
  EXPECT_GE(crashes, 10);
  EXPECT_GE(confirmed.size(), 20u);
  keeper.Open();
  ASSERT_TRUE(keeper->IsOnDisk());
  for (const auto number : confirmed) {
    EXPECT_EQ(keeper->Read(number).value().publication.payload.size(), 3000u);
    EXPECT_EQ(keeper->Read(number + 1).value().publication.topic, "b");
  }
  EXPECT_GT(keeper.Keep("c"), confirmed.back() + 1);
  EXPECT_EQ(keeper.told, std::vector<std::string>{});
}

}  // namespace
