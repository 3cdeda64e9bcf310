#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "bench/siege/time.h"

namespace Siege {

// Many connections to the daemon, served by one thread that never waits for any of them.
class Crowd {
 public:
  explicit Crowd(std::uint16_t port) : port_(port) {}
  ~Crowd();
  Crowd(const Crowd&) = delete;
  Crowd& operator=(const Crowd&) = delete;

  // One more, which sends the text: as fast as it's taken, or a byte a pause. The text has to outlive the
  // crowd.
  void Add(std::string_view text, milliseconds pause = milliseconds(0));
  // Sends what can be sent, throws away what was answered and forgets whom the daemon has closed. Takes that
  // long at most when there's nothing to do.
  void Turn(milliseconds wait);
  std::size_t Size() const { return members_.size(); }

 private:
  struct Member {
    int fd;
    std::string_view rest;
    milliseconds pause;
    Clock::time_point due;
  };

  static bool WantsToSend(const Member& member, Clock::time_point now);
  // False when the connection is gone.
  static bool Serve(Member& member, short events, Clock::time_point now);

  std::uint16_t port_;
  std::vector<Member> members_;
};

}  // namespace Siege
