#include "framework/transport/connection/connectionTable.h"

#include <utility>

namespace Mirel::Asio {

bool ConnectionTable::CloseOne() {
  const Corvane::MutexLock lock(mutex_);
  const auto now = Clock::now();
  auto* entries = OldestSince(now - kGrace);
  if (!entries) entries = OldestSince(now);
  if (!entries) return false;
  auto& entry = entries->front();
  entry.closed = true;
  entry.close();
  // Out of reach for the next look; its slot finds it by its iterator, wherever it is.
  In(Stage::Serves).splice(In(Stage::Serves).end(), *entries, entries->begin());
  return true;
}

ConnectionTable::Counts ConnectionTable::GetCounts() const {
  const Corvane::MutexLock lock(mutex_);
  return counts_;
}

ConnectionTable::Entries* ConnectionTable::OldestSince(Clock::time_point latest) {
  for (const auto stage : {Stage::AwaitsHead, Stage::AwaitsBody, Stage::AnswersStranger}) {
    auto& entries = In(stage);
    if (!entries.empty() && entries.front().since <= latest) return &entries;
  }
  return nullptr;
}

ConnectionTable::Slot::~Slot() {
  if (!table_) return;
  const Corvane::MutexLock lock(table_->mutex_);
  --table_->counts_.current;
  if (entry_) table_->In((*entry_)->closed ? Stage::Serves : stage_).erase(*entry_);
}

void ConnectionTable::Slot::Join(std::shared_ptr<ConnectionTable> table, std::function<void()> close) {
  table_ = std::move(table);
  close_ = std::move(close);
  const Corvane::MutexLock lock(table_->mutex_);
  ++table_->counts_.current;
  ++table_->counts_.accepted;
}

void ConnectionTable::Slot::Enter(Stage stage) {
  if (!table_) return;
  const Corvane::MutexLock lock(table_->mutex_);
  auto& entries = table_->In(stage);
  if (!entry_) {
    entry_ = entries.insert(entries.end(), Entry{std::move(close_), Clock::now()});
  } else if (!(*entry_)->closed) {
    entries.splice(entries.end(), table_->In(stage_), *entry_);
    (*entry_)->since = Clock::now();
  }
  stage_ = stage;
}

}  // namespace Mirel::Asio
