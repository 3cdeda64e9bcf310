#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/corvane/expiryTimer.h"
#include "platform/corvane/object.h"

namespace Corvane {

class Session;

// The sessions that can be found by their identifiers, and tickets for them. A session leaves when it ends.
// Safe from any thread.
class SessionManager final : public ObjectImpl {
 public:
  static constexpr std::size_t kDefaultLimit = 100'000;
  // Of a ticket, in microseconds.
  static constexpr std::int64_t kTicketLife = 60'000'000;
  static constexpr std::size_t kTicketLimit = 10'000;

  explicit SessionManager(std::size_t limit = kDefaultLimit);
  SessionManager(std::size_t limit, ExpiryTimer::Clock ticketClock);
  // Ends all of its sessions.
  ~SessionManager() override;

  // Gives whether the session can be found from now on. False when there are as many sessions as the limit
  // allows, and for a session that has ended. A caller that was about to hand the session to a client should
  // then refuse the client as one that isn't let in, and drop the session: its end takes with it whatever is
  // attached. A session that is there already stays.
  bool Add(const Ref<Session>& session);

  // Ends the session. Gives whether it was there and this call ended it.
  bool Remove(std::string_view id);

  // Gives false, and null, for a session that isn't there or has ended. Doesn't count as an access: whoever
  // lets a call into the session says so with Session::Access, so that calls that are refused don't keep it.
  bool Find(std::string_view id, Ref<Session>& out);

  std::size_t GetCount() const;

  // A ticket with which the session can be found once, within kTicketLife. Empty when the manager doesn't
  // have the session, and when kTicketLimit tickets are waiting: it is up to the caller not to issue more
  // tickets to one client than others can spare.
  std::string IssueCloneTicket(std::string_view sessionId);
  // As Find, by a ticket, which is used up by it.
  bool ResolveCloneTicket(std::string_view ticket, Ref<Session>& out);

 private:
  class Table;
  class Leaver;
  class Tickets;

  const std::shared_ptr<Table> table_;
  const std::unique_ptr<Tickets> tickets_;
};

}  // namespace Corvane
