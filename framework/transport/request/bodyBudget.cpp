#include "framework/transport/request/bodyBudget.h"

#include <algorithm>
#include <boost/asio/post.hpp>
#include <utility>

namespace Mirel::Transport::Http {

using Clock = std::chrono::steady_clock;

std::shared_ptr<BodyBudget> BodyBudget::Make(const Asio::Executor& executor, std::uint64_t bytes,
                                             std::chrono::milliseconds patience) {
  return std::shared_ptr<BodyBudget>(new BodyBudget(executor, bytes, patience));
}

BodyBudget::BodyBudget(const Asio::Executor& executor, std::uint64_t bytes,
                       std::chrono::milliseconds patience)
    : timer_(executor),
      bytes_(bytes),
      patience_(patience),
      strangers_{bytes / 4, 0, {}},
      known_{bytes, 0, {}} {}

void BodyBudget::AsyncClaim(Claim claim, Ready ready) {
  const Corvane::MutexLock lock(mutex_);
  auto& mine = ClassOf(claim);
  claim.bytes = std::min(claim.bytes, mine.most);
  mine.waiting.push_back({std::move(claim), std::move(ready)});
  ServeWaiting();
}

bool BodyBudget::Fits(const Claim& claim) {
  return strangers_.used + known_.used + claim.bytes <= bytes_ &&
         ClassOf(claim).used + claim.bytes <= ClassOf(claim).most;
}

void BodyBudget::ServeWaiting() {
  // Within a class, first come, first served; those without credentials only when no others wait.
  for (auto* one : {&known_, &strangers_}) {
    for (auto& waiting = one->waiting; !waiting.empty(); waiting.pop_front()) {
      if (!Fits(waiting.front().claim)) {
        LookAfterTheSlow();
        return;
      }
      Grant(std::move(waiting.front()));
    }
  }
}

void BodyBudget::Grant(Waiting waiting) {
  ClassOf(waiting.claim).used += waiting.claim.bytes;
  auto share = std::make_shared<Share>(shared_from_this(), std::move(waiting.claim));
  reading_.push_back(share.get());
  boost::asio::post(timer_.get_executor(),
                    [ready = std::move(waiting.ready), share = std::move(share)] { ready(share); });
}

void BodyBudget::StopReading(Share& share) {
  if (std::exchange(share.reading_, false)) reading_.remove(&share);
}

void BodyBudget::GiveBack(Share& share) {
  const Corvane::MutexLock lock(mutex_);
  StopReading(share);
  ClassOf(share.claim_).used -= share.claim_.bytes;
  ServeWaiting();
}

// Otherwise a sender could hold a share for as long as it likes, by letting its body trickle in.
void BodyBudget::LookAfterTheSlow() {
  if (timerRuns_ || reading_.empty()) return;
  timerRuns_ = true;
  timer_.expires_at(reading_.front()->since_ + patience_);
  timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
    if (!error) self->GiveUpTheSlow();
  });
}

void BodyBudget::GiveUpTheSlow() {
  const Corvane::MutexLock lock(mutex_);
  timerRuns_ = false;
  if (known_.waiting.empty() && strangers_.waiting.empty()) return;
  while (!reading_.empty() && reading_.front()->since_ + patience_ <= Clock::now()) {
    reading_.front()->claim_.giveUp();
    StopReading(*reading_.front());
  }
  LookAfterTheSlow();
}

BodyBudget::Share::Share(std::shared_ptr<BodyBudget> budget, Claim claim)
    : budget_(std::move(budget)), claim_(std::move(claim)), since_(Clock::now()) {}

BodyBudget::Share::~Share() {
  budget_->GiveBack(*this);
}

void BodyBudget::Share::Complete() {
  const Corvane::MutexLock lock(budget_->mutex_);
  budget_->StopReading(*this);
}

}  // namespace Mirel::Transport::Http
