#include "fleet/exporter/tokenCheck.h"

#include <algorithm>

#include "fleet/exporter/bounds.h"

namespace Fleet {
namespace {

// Anything else would be refused anyhow, or be more of a request than its token (RFC 6750, 2.1).
bool CanBeToken(const std::string& text) {
  return !text.empty() && text.size() <= kMostToken &&
         std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < '\x7f'; });
}

}  // namespace

struct TokenCheck::Question {
  Corvane::WipedString token;
  SecretHash hash;
  Time deadline;
  Done done;
};

TokenCheck::TokenCheck(Ask ask) : ask_(std::move(ask)) {
  for (std::size_t i = 0; i < kCheckThreads; ++i) threads_.emplace_back([this] { Work(); });
}

TokenCheck::~TokenCheck() {
  {
    const Corvane::MutexLock lock(mutex_);
    ends_ = true;
  }
  changed_.notify_all();
}

void TokenCheck::Check(const Corvane::WipedString& token, Time now, Done done) {
  if (!CanBeToken(token.text())) return done({Checked::Verdict::Refused});
  auto question = std::make_shared<Question>(
      Question{token, SecretHash(token.text()), now + kCheckTime, std::move(done)});
  {
    const Corvane::MutexLock lock(mutex_);
    if (open_.size() < kMostChecks) {
      waiting_.push_back(question);
      open_.push_back(question);
      question = nullptr;
    }
  }
  if (question) return question->done({});
  changed_.notify_one();
}

bool TokenCheck::WasGood(const Corvane::WipedString& token, Time now) {
  const SecretHash hash(token.text());
  const Corvane::MutexLock lock(mutex_);
  return IsKnown(hash, now);
}

void TokenCheck::Tick(Time now) {
  std::vector<std::shared_ptr<Question>> late;
  {
    const Corvane::MutexLock lock(mutex_);
    for (const auto& question : open_) {
      if (question->deadline <= now) late.push_back(question);
    }
  }
  for (const auto& question : late) Finish(*question, {});
}

void TokenCheck::Work() {
  while (const auto question = Next()) Finish(*question, AskNow(question->token));
}

std::shared_ptr<TokenCheck::Question> TokenCheck::Next() {
  Corvane::MutexLock lock(mutex_);
  while (waiting_.empty() && !ends_) changed_.wait(lock.Native());
  if (ends_) return nullptr;
  auto first = std::move(waiting_.front());
  waiting_.pop_front();
  return first;
}

Checked TokenCheck::AskNow(const Corvane::WipedString& token) try {
  return {Checked::Verdict::Good, ask_(token.text())};
} catch (const CallFault& fault) {
  return {fault.kind == CallFault::Kind::Refused ? Checked::Verdict::Refused : Checked::Verdict::Away};
} catch (const std::exception&) {
  return {};
}

void TokenCheck::Finish(Question& question, Checked checked) {
  const auto now = std::chrono::steady_clock::now();
  {
    const Corvane::MutexLock lock(mutex_);
    // The verdict counts also when it comes too late for who asked.
    if (checked.verdict != Checked::Verdict::Away) {
      Remember(question.hash, checked.verdict == Checked::Verdict::Good, now);
    }
    checked.believed = checked.verdict == Checked::Verdict::Away && IsKnown(question.hash, now);
    const auto isIt = [&](const auto& other) { return other.get() == &question; };
    std::erase_if(waiting_, isIt);
    if (open_.remove_if(isIt) == 0) return;
  }
  question.done(checked);
}

void TokenCheck::Remember(const SecretHash& token, bool isGood, Time now) {
  good_.remove_if([&](const auto& other) { return other.first == token; });
  if (isGood) good_.emplace_front(token, now);
  if (good_.size() > kMostGoodTokens) good_.pop_back();
}

bool TokenCheck::IsKnown(const SecretHash& token, Time now) {
  good_.remove_if([now](const auto& other) { return now - other.second >= kBelieved; });
  return std::any_of(good_.begin(), good_.end(), [&](const auto& other) { return other.first == token; });
}

}  // namespace Fleet
