#include "platform/corvane/sessionManager.h"

#include <mutex>
#include <set>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

#include "platform/corvane/secretText.h"
#include "platform/corvane/session.h"
#include "platform/corvane/system.h"

namespace Corvane {
namespace {

template <typename Value>
using SecretMap = std::unordered_map<std::string, Value, Detail::SecretTextHash, Detail::SecretTextEqual>;

}  // namespace

// Calls nothing of a session and releases none while it is locked.
class SessionManager::Table {
 public:
  explicit Table(size_t limit) : limit_(limit) {}

  enum class Added { kNew, kAlready, kRefused };
  Added Add(const Ref<Session>& session) {
    const std::lock_guard lock(mutex_);
    if (sessions_.contains(session->GetId())) {
      return Added::kAlready;
    }
    if (sessions_.size() >= limit_) {
      return Added::kRefused;
    }
    sessions_.emplace(session->GetId(), session);
    return Added::kNew;
  }

  Ref<Session> Find(std::string_view id) const {
    const std::shared_lock lock(mutex_);
    const auto entry = sessions_.find(id);
    return entry == sessions_.end() ? nullptr : entry->second;
  }

  Ref<Session> Take(std::string_view id) {
    const std::lock_guard lock(mutex_);
    const auto entry = sessions_.find(id);
    return entry == sessions_.end() ? nullptr : std::move(sessions_.extract(entry).mapped());
  }

  SecretMap<Ref<Session>> TakeAll() {
    const std::lock_guard lock(mutex_);
    return std::exchange(sessions_, {});
  }

  size_t Size() const {
    const std::shared_lock lock(mutex_);
    return sessions_.size();
  }

 private:
  const size_t limit_;
  mutable std::shared_mutex mutex_;
  SecretMap<Ref<Session>> sessions_;
};

// Attached to each session of the table, which thereby leaves it at its end, whatever ends it.
class SessionManager::Leaver : public SessionObject {
 public:
  Leaver(std::shared_ptr<Table> table, std::string id) : table_(std::move(table)), id_(std::move(id)) {}

  void SessionEnded() override { table_->Take(id_); }

 private:
  const std::shared_ptr<Table> table_;
  const std::string id_;
};

class SessionManager::Tickets {
 public:
  explicit Tickets(ExpiryTimer::Clock clock) : clock_(std::move(clock)) {}

  std::string Issue(std::string_view sessionId) {
    const std::lock_guard lock(mutex_);
    DropExpired();
    if (tickets_.size() >= kTicketLimit) {
      return {};
    }
    std::string ticket = Detail::MakeSecretText();
    const int64_t expiry = clock_() + kTicketLife;
    byExpiry_.emplace(expiry, ticket);
    tickets_.emplace(ticket, Ticket{std::string(sessionId), expiry});
    return ticket;
  }

  // The session's identifier, or nothing.
  std::string Use(std::string_view ticket) {
    const std::lock_guard lock(mutex_);
    DropExpired();
    const auto position = tickets_.find(ticket);
    if (position == tickets_.end()) {
      return {};
    }
    const auto entry = tickets_.extract(position);
    byExpiry_.erase({entry.mapped().expiry, entry.key()});
    return std::move(entry.mapped().sessionId);
  }

 private:
  struct Ticket {
    std::string sessionId;
    int64_t expiry;
  };

  void DropExpired() {
    const int64_t now = clock_();
    while (!byExpiry_.empty() && byExpiry_.begin()->first <= now) {
      tickets_.erase(byExpiry_.begin()->second);
      byExpiry_.erase(byExpiry_.begin());
    }
  }

  const ExpiryTimer::Clock clock_;
  std::mutex mutex_;
  SecretMap<Ticket> tickets_;
  std::set<std::pair<int64_t, std::string>> byExpiry_;
};

SessionManager::SessionManager(size_t limit) : SessionManager(limit, &System::GetMonotonicTime) {}

SessionManager::SessionManager(size_t limit, ExpiryTimer::Clock ticketClock)
    : table_(std::make_shared<Table>(limit)), tickets_(std::make_unique<Tickets>(std::move(ticketClock))) {}

SessionManager::~SessionManager() {
  for (const auto& [id, session] : table_->TakeAll()) {
    session->End();
  }
}

bool SessionManager::Add(const Ref<Session>& session) {
  switch (table_->Add(session)) {
    case Table::Added::kRefused:
      return false;
    case Table::Added::kNew:
      session->AttachObject("sessionManager", MakeRef<Leaver>(table_, session->GetId()));
      break;
    case Table::Added::kAlready:
      break;
  }
  return !session->HasEnded();
}

bool SessionManager::Remove(std::string_view id) {
  const Ref<Session> session = table_->Take(id);
  return session && session->End();
}

bool SessionManager::Find(std::string_view id, Ref<Session>& out) {
  out = table_->Find(id);
  if (out && !out->Access()) {
    out.reset();
  }
  return static_cast<bool>(out);
}

size_t SessionManager::GetCount() const {
  return table_->Size();
}

std::string SessionManager::IssueCloneTicket(std::string_view sessionId) {
  Ref<Session> session;
  return Find(sessionId, session) ? tickets_->Issue(sessionId) : std::string();
}

bool SessionManager::ResolveCloneTicket(std::string_view ticket, Ref<Session>& out) {
  return Find(tickets_->Use(ticket), out);
}

}  // namespace Corvane
