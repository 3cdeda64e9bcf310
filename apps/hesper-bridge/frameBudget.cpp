#include "apps/hesper-bridge/frameBudget.h"

#include <boost/asio/post.hpp>
#include <utility>

#include "apps/hesper-bridge/connection.h"

namespace Bridge {

void FrameBudget::End() {
  --underWay_;
  if (line_.empty() || std::exchange(isServiceDue_, true)) return;
  // Not at once: whoever ends a frame is in the middle of something.
  boost::asio::post(io_, [self = shared_from_this()] { self->ServeLine(); });
}

void FrameBudget::ServeLine() {
  isServiceDue_ = false;
  while (!line_.empty() && HasRoom()) {
    const auto first = line_.front().lock();
    line_.pop_front();
    if (first) first->Resume();
  }
}

}  // namespace Bridge
