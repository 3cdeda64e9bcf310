#include "platform/corvane/sessionManager.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <set>
#include <utility>

#include "platform/corvane/mutex.h"
#include "platform/corvane/secretText.h"
#include "platform/corvane/session.h"
#include "platform/corvane/system.h"

namespace Corvane {
namespace {

using Detail::SecretKey;

// With its keys in place: one that is found costs as few cache misses as can be.
template <typename Value>
using SecretMap = boost::unordered_flat_map<SecretKey, Value, SecretKey::Hash>;

}  // namespace

// The session table.
//
// Invariants:
// 1. It has at most limit_ sessions, each under its own identifier.
// 2. A session in it has a Leaver, or gets one before Add returns; so it leaves at its end, whatever ends it.
// 3. While it is locked, nothing of a session is called and none is released.
class SessionManager::Table {
 public:
  explicit Table(std::size_t limit) : limit_(limit) {}

  enum class Added { New, Already, Refused };
  Added Add(const Ref<Session>& session) {
    const SecretKey key(session->GetId());
    const WriterLock lock(mutex_);
    if (sessions_.contains(key)) return Added::Already;
    if (sessions_.size() >= limit_) return Added::Refused;
    sessions_.emplace(key, session);
    return Added::New;
  }

  Ref<Session> Find(const SecretKey& key) const {
    const ReaderLock lock(mutex_);
    const auto entry = sessions_.find(key);
    return entry == sessions_.end() ? nullptr : entry->second;
  }

  Ref<Session> Take(const SecretKey& key) {
    const WriterLock lock(mutex_);
    Ref<Session> session;
    if (const auto entry = sessions_.find(key); entry != sessions_.end()) {
      std::swap(session, entry->second);
      sessions_.erase(entry);
    }
    return session;
  }

  SecretMap<Ref<Session>> TakeAll() {
    const WriterLock lock(mutex_);
    return std::exchange(sessions_, {});
  }

  std::size_t Size() const {
    const ReaderLock lock(mutex_);
    return sessions_.size();
  }

 private:
  const std::size_t limit_;
  mutable SharedMutex mutex_;
  SecretMap<Ref<Session>> sessions_ CORVANE_GUARDED_BY(mutex_);
};

// Attached to each session of the table, which thereby leaves it at its end, whatever ends it.
class SessionManager::Leaver final : public SessionObject {
 public:
  Leaver(std::shared_ptr<Table> table, const SecretKey& key) : table_(std::move(table)), key_(key) {}

  void SessionEnded() override { table_->Take(key_); }

 private:
  const std::shared_ptr<Table> table_;
  const SecretKey key_;
};

class SessionManager::Tickets {
 public:
  explicit Tickets(ExpiryTimer::Clock clock) : clock_(std::move(clock)) {}

  std::string Issue(std::string_view sessionId) {
    const MutexLock lock(mutex_);
    DropExpired();
    if (tickets_.size() >= kTicketLimit) return {};
    std::string ticket = Detail::MakeSecretText();
    const std::int64_t expiry = clock_() + kTicketLife;
    byExpiry_.emplace(expiry, ticket);
    tickets_.emplace(ticket, Ticket{std::string(sessionId), expiry});
    return ticket;
  }

  // The session's identifier, or nothing.
  std::string Use(std::string_view text) {
    const SecretKey key(text);
    const MutexLock lock(mutex_);
    DropExpired();
    const auto entry = tickets_.find(key);
    if (entry == tickets_.end()) return {};
    const Ticket ticket = std::move(entry->second);
    tickets_.erase(entry);
    byExpiry_.erase({ticket.expiry, key});
    return ticket.sessionId;
  }

 private:
  struct Ticket {
    std::string sessionId;
    std::int64_t expiry;
  };

  void DropExpired() CORVANE_REQUIRES(mutex_) {
    const std::int64_t now = clock_();
    while (!byExpiry_.empty() && byExpiry_.begin()->first <= now) {
      tickets_.erase(byExpiry_.begin()->second);
      byExpiry_.erase(byExpiry_.begin());
    }
  }

  const ExpiryTimer::Clock clock_;
  Mutex mutex_;
  SecretMap<Ticket> tickets_ CORVANE_GUARDED_BY(mutex_);
  std::set<std::pair<std::int64_t, SecretKey>> byExpiry_ CORVANE_GUARDED_BY(mutex_);
};

SessionManager::SessionManager(std::size_t limit) : SessionManager(limit, &System::GetMonotonicTime) {}

SessionManager::SessionManager(std::size_t limit, ExpiryTimer::Clock ticketClock)
    : table_(std::make_shared<Table>(limit)), tickets_(std::make_unique<Tickets>(std::move(ticketClock))) {}

SessionManager::~SessionManager() {
  for (const auto& [id, session] : table_->TakeAll()) session->End();
}

bool SessionManager::Add(const Ref<Session>& session) {
  switch (table_->Add(session)) {
    case Table::Added::Refused:
      return false;
    case Table::Added::New:
      session->AttachObject("sessionManager", MakeRef<Leaver>(table_, SecretKey(session->GetId())));
      break;
    case Table::Added::Already:
      break;
  }
  return !session->HasEnded();
}

bool SessionManager::Remove(std::string_view id) {
  const Ref<Session> session = table_->Take(SecretKey(id));
  return session && session->End();
}

bool SessionManager::Find(std::string_view id, Ref<Session>& out) {
  out = table_->Find(SecretKey(id));
  if (out && out->HasEnded()) out.reset();
  return static_cast<bool>(out);
}

std::size_t SessionManager::GetCount() const {
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
