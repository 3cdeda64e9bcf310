#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <vector>

#include "apps/hesper-bridge/daemonEndpoint.h"
#include "apps/hesper-bridge/frameBudget.h"
#include "platform/corvane/log.h"

namespace Bridge {

// What all guests share. One thread runs all of it.
struct Context {
  boost::asio::io_context& io;
  Corvane::Service::Logger& log;
  DaemonEndpoint daemon;
  // Whether guests are listened to on the kernel's vsock.
  bool hasVsock = false;
  // Of all guests.
  std::shared_ptr<FrameBudget> frames;
  // What has been read and is not kept: one buffer will do, as a frame that is not whole is kept elsewhere.
  std::vector<char> scratch;
};

}  // namespace Bridge
