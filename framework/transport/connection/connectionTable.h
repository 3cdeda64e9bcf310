#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <optional>

#include "platform/corvane/mutex.h"

namespace Mirel::Asio {

// How far a connection's present request has come; the later, the more is lost when it is closed.
enum class Stage {
  // New, between two requests, or in the middle of a head.
  AwaitsHead,
  AwaitsBody,
  // A call that nobody has been authenticated for.
  AnswersStranger,
  // An authenticated call, such as a stream.
  Serves,
};

// A server's connections, by the stage that they are in. Owns none of them: a connection lives on its pending
// operations, and leaves the table with its slot. Usable on any thread.
class ConnectionTable {
 public:
  class Slot;

  // Closes the connection with which the least is lost: one of the earliest stage, the oldest in it, and one
  // that has just come only where there is no other. Gives false when there is none but those that serve.
  bool CloseOne();

 private:
  using Clock = std::chrono::steady_clock;
  struct Entry {
    std::function<void()> close;
    Clock::time_point since;
    bool closed = false;
  };
  using Entries = std::list<Entry>;

  static constexpr std::size_t kStages = 4;
  // How long a peer has for its next step before it counts as one that has nothing to say.
  static constexpr auto kGrace = std::chrono::seconds(1);

  Entries* OldestSince(Clock::time_point latest) CORVANE_REQUIRES(mutex_);
  Entries& In(Stage stage) CORVANE_REQUIRES(mutex_) { return stages_[static_cast<std::size_t>(stage)]; }

  Corvane::Mutex mutex_;
  // Invariants:
  // 1. An entry is in the list of its slot's stage, or, once it is closed, in that of Stage::Serves.
  // 2. Each list is in the order in which its connections entered the stage, the oldest in front.
  std::array<Entries, kStages> stages_ CORVANE_GUARDED_BY(mutex_);
};

// A connection's place in the table. Destroyed before what `close` works on.
class ConnectionTable::Slot {
 public:
  Slot() = default;
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  ~Slot();

  // Once at most; without it the slot does nothing. `close` is called on any thread, under the table's lock,
  // and not before the connection has entered its first stage.
  void Join(std::shared_ptr<ConnectionTable> table, std::function<void()> close);
  void Enter(Stage stage);

 private:
  std::shared_ptr<ConnectionTable> table_;
  std::function<void()> close_;
  std::optional<Entries::iterator> entry_;
  Stage stage_ = Stage::AwaitsHead;
};

}  // namespace Mirel::Asio
