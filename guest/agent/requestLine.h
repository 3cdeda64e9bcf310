#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "guest/agent/sending/backoff.h"
#include "guest/link/channel.h"

namespace GuestAgent {

// Where the host's requests for history come. Opened again when it fails. Times are since the VM's start.
class RequestLine {
 public:
  using Milliseconds = std::chrono::milliseconds;
  using Open = std::function<std::unique_ptr<GuestLink::Channel>()>;
  using Tell = std::function<void(const std::string&)>;
  using Take = std::function<void(const std::string&)>;

  RequestLine(Open open, Take take, Tell tell, std::uint32_t seed)
      : open_(std::move(open)), take_(std::move(take)), tell_(std::move(tell)), backoff_(seed) {}

  // Takes what has come. Gives when it is to be called at the latest, if nothing comes.
  std::optional<Milliseconds> Step(Milliseconds now);
  // For poll, or -1.
  int Descriptor() const { return channel_ ? channel_->Descriptor() : -1; }

 private:
  const Open open_;
  const Take take_;
  const Tell tell_;
  Backoff backoff_;
  std::unique_ptr<GuestLink::Channel> channel_;
  Milliseconds retry_{0};
  bool isClosed_ = false;
};

}  // namespace GuestAgent
