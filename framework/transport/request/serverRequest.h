#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "framework/transport/request/phrRequest.h"

namespace Mirel::Transport::PicoHttp::ServerDetail {

// One request's head: the buffer it is read into, and what it says. The views lie in the buffer.
struct Request {
  PhrRequest head;
  std::array<char, 4096> buffer;
  std::uint64_t contentLength = 0;
  std::string_view contentType;
  std::string_view accept;
  std::string_view transferEncoding;
  bool chunked = false;
  bool hasContentLength = false;
  bool keepAlive = true;
  // The client speaks, or takes, streams of frames.
  bool framed = false;
  bool acceptsStream = false;
  bool hasExpect = false;
  bool expectContinue = false;
  // The head was refused.
  bool bad = false;

  boost::asio::mutable_buffer FreeSpace(std::size_t used) { return boost::asio::buffer(buffer) + used; }
};

// Reads the headers of a parsed head into the request's other fields. Changes the head in place: names, the
// method and the value of "connection" become lower case.
boost::system::error_code InterpretHead(Request& request);

}  // namespace Mirel::Transport::PicoHttp::ServerDetail
