#pragma once

#include <boost/asio/io_context.hpp>
#include <cstddef>
#include <vector>

#include "apps/hesper-bridge/daemonEndpoint.h"
#include "platform/corvane/log.h"

namespace Bridge {

// What all guests share. One thread runs all of it.
struct Context {
  boost::asio::io_context& io;
  Corvane::Service::Logger& log;
  DaemonEndpoint daemon;
  // Whether guests are listened to on the kernel's vsock.
  bool hasVsock = false;
  // Frames of all guests that are under way, see Guest.
  std::size_t framesUnderWay = 0;
  // What has been read and is not kept: one buffer will do, as a frame that is not whole is kept elsewhere.
  std::vector<char> scratch;
};

}  // namespace Bridge
