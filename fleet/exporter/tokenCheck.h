#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fleet/exporter/secretHash.h"
#include "fleet/stream/call.h"
#include "platform/corvane/mutex.h"
#include "platform/corvane/wipedString.h"

namespace Fleet {

// What the daemon says of a token.
struct Checked {
  enum class Verdict { Good, Refused, Away };
  Verdict verdict = Verdict::Away;
  std::string stats = {};  // of the good one: what the stats service gave
  bool believed = false;   // away, but the token was good within the last minutes
};

// Asks the daemon by calling its stats service with the token. From any thread.
class TokenCheck final {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Done = std::function<void(const Checked&)>;
  // Gives what the stats service gives to the bearer of that token, or throws CallFault.
  using Ask = std::function<std::string(const std::string&)>;

  explicit TokenCheck(Ask ask);
  // Waits for the questions under way.
  ~TokenCheck();

  // `done` runs exactly once, on a thread of this object's, on the one that calls Tick, or here: with Away
  // when the daemon doesn't answer within seconds.
  void Check(const Corvane::WipedString& token, Time now, Done done);
  // Whether the daemon has taken it within the last minutes.
  bool WasGood(const Corvane::WipedString& token, Time now);
  // To be called each second.
  void Tick(Time now);

 private:
  struct Question;

  void Work();
  std::shared_ptr<Question> Next();
  Checked AskNow(const Corvane::WipedString& token);
  void Finish(Question& question, Checked checked);
  void Remember(const SecretHash& token, bool isGood, Time now) CORVANE_REQUIRES(mutex_);
  bool IsKnown(const SecretHash& token, Time now) CORVANE_REQUIRES(mutex_);

  const Ask ask_;
  Corvane::Mutex mutex_;
  std::condition_variable changed_;
  bool ends_ CORVANE_GUARDED_BY(mutex_) = false;
  std::deque<std::shared_ptr<Question>> waiting_ CORVANE_GUARDED_BY(mutex_);
  std::list<std::shared_ptr<Question>> open_ CORVANE_GUARDED_BY(mutex_);
  std::list<std::pair<SecretHash, Time>> good_ CORVANE_GUARDED_BY(mutex_);  // the latest in front
  std::vector<std::jthread> threads_;
};

}  // namespace Fleet
