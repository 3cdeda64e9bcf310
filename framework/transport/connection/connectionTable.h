#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
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
// operations, and leaves the table when its slot is destroyed. Usable on any thread.
class ConnectionTable {
 public:
  class Slot;

  // Closes the connection with which the least is lost: the oldest one of the earliest stage, and one that
  // has just come only when there is no other. Gives false when all of them serve.
  bool CloseOne();

  // The connections that a slot has joined for: those that are there, also when their peer has gone
  // unnoticed, and all that ever were.
  struct Counts {
    std::size_t current = 0;
    std::uint64_t accepted = 0;
  };
  Counts GetCounts() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Entry {
    std::function<void()> close;
    Clock::time_point since;
    bool closed = false;
  };
  using Entries = std::list<Entry>;

  static constexpr std::size_t kStages = 4;
  // A peer that hasn't taken its next step within this time counts as one with nothing to say.
  static constexpr auto kGrace = std::chrono::seconds(1);

  Entries* OldestSince(Clock::time_point latest) CORVANE_REQUIRES(mutex_);
  Entries& In(Stage stage) CORVANE_REQUIRES(mutex_) { return stages_[static_cast<std::size_t>(stage)]; }

  mutable Corvane::Mutex mutex_;
  Counts counts_ CORVANE_GUARDED_BY(mutex_);
  // Invariants:
  // 1. An entry is in the list of its slot's stage, or, once it is closed, in that of Stage::Serves.
  // 2. Each list but that of Stage::Serves is ordered by `since`, the oldest in front.
  // 3. CloseOne takes nothing from the list of Stage::Serves, so that no connection is closed twice.
  // 4. A slot's iterator is valid until the slot's end: entries move between lists and are never copied.
  std::array<Entries, kStages> stages_ CORVANE_GUARDED_BY(mutex_);
};

// A connection's place in the table. Requires: it is destroyed before what its `close` works on.
class ConnectionTable::Slot {
 public:
  Slot() = default;
  Slot(const Slot&) = delete;
  Slot& operator=(const Slot&) = delete;
  ~Slot();

  // Requires: the slot hasn't joined a table. A slot that never does does nothing. `close` is called on any
  // thread, under the table's lock, and not before the connection has entered its first stage.
  void Join(std::shared_ptr<ConnectionTable> table, std::function<void()> close);
  void Enter(Stage stage);

 private:
  std::shared_ptr<ConnectionTable> table_;
  std::function<void()> close_;
  std::optional<Entries::iterator> entry_;
  Stage stage_ = Stage::AwaitsHead;
};

}  // namespace Mirel::Asio
