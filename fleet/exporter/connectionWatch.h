#pragma once

#include <chrono>
#include <cstddef>
#include <list>
#include <map>
#include <memory>
#include <optional>

#include <sys/types.h>

#include "fleet/exporter/bodyPipe.h"
#include "platform/corvane/mutex.h"

namespace Fleet {

// Whoever is slow on purpose loses the connection: each phase of a request has its time, however diligently
// single bytes trickle. From any thread.
class ConnectionWatch final {
 public:
  using Time = std::chrono::steady_clock::time_point;
  enum class Phase { Idle, Request, Answer };
  struct Connection {
    int descriptor;
    std::optional<uid_t> user;
    Time deadline;
    std::weak_ptr<BodyPipe> stream = {};  // has no deadline, but a client that may have gone
  };

  // Whether one more connection of that user may come.
  bool HasRoomFor(std::optional<uid_t> user) const;
  // The connection stays where it is until it is removed, which has to happen before its descriptor is
  // closed.
  Connection* Add(int descriptor, std::optional<uid_t> user, Time now);
  void Remove(const Connection* connection);
  void Enter(Connection* connection, Phase phase, Time now);
  void EnterStream(Connection* connection, const std::shared_ptr<BodyPipe>& stream);

  // Shuts down what is late, and ends the streams of clients that have gone.
  void Tick(Time now);
  void EndStreams();

 private:
  mutable Corvane::Mutex mutex_;
  std::list<Connection> connections_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet
