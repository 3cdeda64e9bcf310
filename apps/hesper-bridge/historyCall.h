#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "apps/hesper-bridge/connection.h"

namespace Bridge {

// Carries one request for history to a guest: connects, says where to if the VMM wants to know, sends the
// request as one frame, and closes.
class HistoryCall final : public std::enable_shared_from_this<HistoryCall> {
 public:
  using Endpoint = boost::asio::generic::stream_protocol::endpoint;

  // The opening is a line for the VMM, which answers "OK" and more; without one, none is expected.
  HistoryCall(boost::asio::io_context& io, std::string opening, std::string_view request);

  // Calls done when the call is over, however it has ended.
  void Start(const Endpoint& guest, std::function<void()> done);
  void Close();

 private:
  void SendOpening();
  void ReadAnswer();
  void SendRequest();
  void End();

  StreamSocket socket_;
  boost::asio::steady_timer deadline_;
  std::string opening_;
  std::string frame_;
  boost::asio::streambuf answer_;
  std::function<void()> done_;
};

// The calls of one guest, of which a few may be on their way at the same time.
class HistoryCalls {
 public:
  explicit HistoryCalls(boost::asio::io_context& io) : io_(io) {}
  ~HistoryCalls() { Close(); }

  // Drops the request if too many are on their way.
  void Make(const HistoryCall::Endpoint& guest, const std::string& opening, std::string_view request);
  void Close();

 private:
  boost::asio::io_context& io_;
  std::vector<std::shared_ptr<HistoryCall>> calls_;
};

}  // namespace Bridge
