#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "fleet/nats/natsHandles.h"
#include "fleet/nats/natsOptions.h"

namespace Fleet {

// What a connection tells of itself, from threads of the library's.
struct LinkEvents {
  std::function<void(const std::string& reason)> onDisconnected;
  std::function<void()> onReconnected;
  std::function<void(natsStatus status, const std::string& reason)> onError;
};

// A connection that comes back by itself, with backoff and jitter, for as long as it takes; but the library
// gives up (IsClosed) when a server refuses the credentials twice. Once it is destroyed, no event comes.
class NatsLink final {
 public:
  // Connects. `name` is for the server's people. Replies to this client have subjects below inboxPrefix,
  // which is one that the user may subscribe to. Throws NatsFault.
  NatsLink(const NatsOptions& options, const std::string& name, const std::string& inboxPrefix,
           LinkEvents events);
  ~NatsLink();
  NatsLink(const NatsLink&) = delete;
  NatsLink& operator=(const NatsLink&) = delete;

  natsConnection* get() const { return connection_.get(); }
  bool IsConnected() const;
  bool IsClosed() const;
  // The server that it's connected to, without credentials.
  std::string Server() const;

  // A context for calls to JetStream, which must not outlive the link.
  JetStreamHandle JetStream(jsOptions* options) const;

 private:
  const std::uintptr_t id_;
  NatsConnectionHandle connection_;
};

// Before a program ends, when no link is left: frees what the library keeps for all of them.
void CloseNats();

}  // namespace Fleet
