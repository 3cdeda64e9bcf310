#include "bench/siege/crowd.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "bench/siege/client.h"

namespace Siege {
namespace {

bool WouldWait() {
  return errno == EAGAIN || errno == ENOTCONN || errno == EINPROGRESS;
}

// False at the end of the connection.
bool ThrowAwayAnswers(int fd) {
  char buffer[4096];
  const auto size = recv(fd, buffer, sizeof buffer, MSG_DONTWAIT);
  return size > 0 || (size < 0 && WouldWait());
}

}  // namespace

Crowd::~Crowd() {
  for (const auto& member : members_) close(member.fd);
}

void Crowd::Add(std::string_view text, milliseconds pause) {
  const int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) return;
  const auto address = Loopback(port_);
  if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 && !WouldWait()) {
    close(fd);
    return;
  }
  members_.push_back({fd, text, pause, Clock::now()});
}

bool Crowd::WantsToSend(const Member& member, Clock::time_point now) {
  return !member.rest.empty() && member.due <= now;
}

bool Crowd::Serve(Member& member, short events, Clock::time_point now) {
  if ((events & (POLLIN | POLLHUP | POLLERR)) != 0 && !ThrowAwayAnswers(member.fd)) return false;
  if ((events & POLLOUT) == 0) return true;
  const auto size = member.pause.count() == 0 ? member.rest.size() : 1;
  const auto sent = send(member.fd, member.rest.data(), size, MSG_NOSIGNAL | MSG_DONTWAIT);
  if (sent < 0) return WouldWait();
  member.rest.remove_prefix(static_cast<std::size_t>(sent));
  member.due = now + member.pause;
  return true;
}

void Crowd::Turn(milliseconds wait) {
  std::vector<pollfd> polled;
  polled.reserve(members_.size());
  const auto now = Clock::now();
  for (const auto& member : members_) {
    polled.push_back(
        {member.fd, static_cast<short>(WantsToSend(member, now) ? POLLIN | POLLOUT : POLLIN), 0});
  }
  poll(polled.data(), polled.size(), static_cast<int>(wait.count()));
  auto event = polled.begin();
  std::erase_if(members_, [&](Member& member) {
    const bool stays = Serve(member, (event++)->revents, now);
    if (!stays) close(member.fd);
    return !stays;
  });
}

}  // namespace Siege
