#pragma once

#include <nats/nats.h>

#include <memory>
#include <string>
#include <vector>

#include "fleet/forward/acknowledgements.h"
#include "fleet/forward/outgoing.h"
#include "fleet/nats/natsLink.h"

namespace Fleet {

// The way into JetStream. Used by one thread.
class Publisher final {
 public:
  Publisher(NatsOptions options, const std::string& host);
  ~Publisher();
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;

  // Publishes them all and waits until each is acknowledged or has failed, three seconds at most. Connects
  // when there is no connection. Throws NatsFault while there is none.
  PublishResult Publish(const std::vector<Outgoing>& batch);

 private:
  void Connect();
  void Send(const Outgoing& item, std::size_t index);

  const NatsOptions options_;
  const std::string name_;
  const std::string inboxPrefix_;
  Acknowledgements& acknowledgements_;
  // Destroyed from the last to the first.
  std::unique_ptr<NatsLink> link_;
  JetStreamHandle jetStream_;
};

}  // namespace Fleet
