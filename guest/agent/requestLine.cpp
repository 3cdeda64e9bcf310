#include "guest/agent/requestLine.h"

#include <exception>
#include <utility>

namespace GuestAgent {
namespace {

// At a time. A host that asks without end must not keep the agent from its other work.
constexpr int kMostRequests = 32;

}  // namespace

std::optional<RequestLine::Milliseconds> RequestLine::Step(Milliseconds now) {
  if (!channel_ && now < retry_) return retry_;
  try {
    if (!channel_) {
      channel_ = open_();
      backoff_.Reset();
      if (std::exchange(isClosed_, false)) tell_("requests for history are heard again");
    }
    for (int i = 0; i < kMostRequests; ++i) {
      const auto text = channel_->Receive(Milliseconds(0));
      if (!text) return std::nullopt;
      take_(*text);
    }
    return now;
  } catch (const std::exception& error) {
    channel_ = nullptr;
    retry_ = now + backoff_.Next();
    if (!std::exchange(isClosed_, true)) {
      tell_(std::string("requests for history can't be heard: ") + error.what());
    }
    return retry_;
  }
}

}  // namespace GuestAgent
