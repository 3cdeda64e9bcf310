#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

#include "platform/corvane/session.h"

namespace Testing {

// Time passes for its sessions when a test says so.
class ManualTime {
 public:
  Corvane::Ref<Corvane::Session> MakeSession(std::int64_t idleTimeout) const {
    Corvane::Ref<Corvane::Session> session;
    Corvane::CreateSession(idleTimeout, session, timer_);
    return session;
  }
  void Pass(std::int64_t microseconds) {
    now_ += microseconds;
    timer_->TellDue();
  }
  std::int64_t Now() const { return now_; }

 private:
  std::atomic<std::int64_t> now_{0};
  const Corvane::Ref<Corvane::ExpiryTimer> timer_ =
      Corvane::MakeRef<Corvane::ExpiryTimer>([this] { return now_.load(); });
};

// Shows what happens to an object that is attached to a session.
struct Fate {
  std::atomic<int> told{0};
  std::atomic<int> gone{0};
};

class Witness : public Corvane::SessionAuthData {
 public:
  explicit Witness(Fate& fate, std::function<void()> whenTold = nullptr)
      : fate_(fate), whenTold_(std::move(whenTold)) {}
  ~Witness() override { ++fate_.gone; }

  void SessionEnded() override {
    ++fate_.told;
    if (whenTold_) whenTold_();
  }
  std::string GetUsername() const override { return "alice"; }

 private:
  Fate& fate_;
  const std::function<void()> whenTold_;
};

}  // namespace Testing
