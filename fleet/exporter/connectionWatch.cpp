#include "fleet/exporter/connectionWatch.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <vector>

#include "fleet/exporter/bounds.h"

namespace Fleet {
namespace {

std::chrono::seconds TimeFor(ConnectionWatch::Phase phase) {
  switch (phase) {
    case ConnectionWatch::Phase::Idle:
      return kIdleTime + kRequestTime;
    case ConnectionWatch::Phase::Request:
      return kRequestTime;
    case ConnectionWatch::Phase::Answer:
      break;
  }
  return kAnswerTime;
}

bool HasGone(int descriptor) {
  pollfd client{descriptor, POLLRDHUP, 0};
  return poll(&client, 1, 0) > 0;
}

}  // namespace

bool ConnectionWatch::HasRoomFor(std::optional<uid_t> user) const {
  if (!user) return true;
  const Corvane::MutexLock lock(mutex_);
  const auto theirs = std::count_if(connections_.begin(), connections_.end(),
                                    [&](const Connection& other) { return other.user == user; });
  return static_cast<std::size_t>(theirs) < kMostConnectionsOfOneUser;
}

ConnectionWatch::Connection* ConnectionWatch::Add(int descriptor, std::optional<uid_t> user, Time now) {
  const Corvane::MutexLock lock(mutex_);
  return &connections_.emplace_back(Connection{descriptor, user, now + TimeFor(Phase::Idle)});
}

void ConnectionWatch::Remove(const Connection* connection) {
  const Corvane::MutexLock lock(mutex_);
  connections_.remove_if([connection](const Connection& other) { return &other == connection; });
}

void ConnectionWatch::Enter(Connection* connection, Phase phase, Time now) {
  const Corvane::MutexLock lock(mutex_);
  connection->stream.reset();
  connection->deadline = now + TimeFor(phase);
}

void ConnectionWatch::EnterStream(Connection* connection, const std::shared_ptr<BodyPipe>& stream) {
  const Corvane::MutexLock lock(mutex_);
  connection->stream = stream;
  connection->deadline = Time::max();
}

void ConnectionWatch::Tick(Time now) {
  std::vector<std::shared_ptr<BodyPipe>> lost;
  {
    const Corvane::MutexLock lock(mutex_);
    for (const auto& connection : connections_) {
      if (connection.deadline < now) shutdown(connection.descriptor, SHUT_RDWR);
      auto stream = connection.stream.lock();
      if (stream && HasGone(connection.descriptor)) lost.push_back(std::move(stream));
    }
  }
  for (const auto& stream : lost) stream->End();
}

void ConnectionWatch::EndStreams() {
  std::vector<std::shared_ptr<BodyPipe>> streams;
  {
    const Corvane::MutexLock lock(mutex_);
    for (const auto& connection : connections_) {
      if (auto stream = connection.stream.lock()) streams.push_back(std::move(stream));
    }
  }
  for (const auto& stream : streams) stream->End();
}

}  // namespace Fleet
