#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "guest/link/channel.h"
#include "guest/link/publicationText.h"

namespace GuestTools {

using GuestLink::Channel;
using GuestLink::Publication;

// A guest that publishes, keeps what it published, and publishes it again for the subscriptions that ask.
// It sends one text at a time, no faster than the daemon's acknowledgement says, and once more if it hears
// nothing.
class HistoryServer {
 public:
  struct Settings {
    std::chrono::milliseconds timeout{5000};
    std::uint64_t firstSequence = 1;
    // Of every publication but its time and payload.
    Publication common;
  };

  // publications sends and hears the acknowledgements.
  HistoryServer(Settings settings, std::unique_ptr<Channel> publications, std::unique_ptr<Channel> requests);

  void Publish(std::string payload);
  // Serves until SIGTERM or SIGINT comes, which the caller has blocked. Each line of input (a descriptor,
  // or -1) is one more payload. The acknowledgements of first publications go to standard output.
  // Gives the exit status: 0, or 1 if a publication was refused, or 2 if one had no answer.
  int Run(int input);

 private:
  using Clock = std::chrono::steady_clock;

  struct Kept {
    Clock::time_point since;
    Publication publication;
  };
  struct Sending {
    Publication publication;
    std::optional<std::uint64_t> subscriber;
    std::uint64_t sequence = 0;
    int attempts = 0;
    // Until then an answer is waited for.
    Clock::time_point deadline;
  };

  void Advance(Clock::time_point now);
  bool SendFirst(Clock::time_point now);
  int MillisecondsToNextStep(Clock::time_point now) const;
  void ReadInput(int& input);
  void TakeAcknowledgements();
  void TakeRequests();
  void Finish();

  Settings settings_;
  const std::unique_ptr<Channel> publications_;
  const std::unique_ptr<Channel> requests_;
  std::uint64_t nextSequence_;
  std::string line_;
  std::deque<Kept> kept_;
  // The first one is on its way if it has attempts.
  std::deque<Sending> queue_;
  Clock::time_point nextSend_;
  unsigned rateLimit_ = 2;
  int status_ = 0;
};

}  // namespace GuestTools
