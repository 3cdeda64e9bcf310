#pragma once

#include <boost/asio/generic/stream_protocol.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "guest/wire/framing.h"

namespace Bridge {

class Guest;
struct Context;

// A stream socket of the vsock family or of AF_UNIX.
using StreamSocket = boost::asio::generic::stream_protocol::socket;
using Clock = std::chrono::steady_clock;

// A byte stream from a guest: the frames that come are texts for the daemon, the daemon's acknowledgements
// leave as frames. It reads no further than the daemon takes, so that nothing of a guest is lost to its rate.
class Connection final : public std::enable_shared_from_this<Connection> {
 public:
  // What a stream is: a connection that a guest has made and can make again, or the one line that it has.
  enum class Kind { Call, Line };

  // Acknowledgements are addressed to the port. The socket is connected. Requires: the context and the guest
  // outlive it, or it is closed before.
  Connection(Context& context, Guest& guest, StreamSocket socket, std::uint32_t port, Kind kind);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection();

  void Start();
  // Goes on after a wait that the guest has imposed.
  void Resume();
  // Sends a frame. A guest that takes nothing loses its connection.
  void Send(std::string_view text);
  // At once, with all that was read and not given to the daemon. The guest forgets it.
  void Close();
  // Closes what has made no progress for too long.
  void CheckProgress(Clock::time_point now);

  std::uint32_t Port() const { return port_; }
  // Whether some of what was sent waits for the guest to take it.
  bool HasUnsent() const { return !unsent_.empty(); }

 private:
  void AwaitInput();
  void TakeTurn();
  void Read();
  bool Consume(std::string_view input);
  bool Offer(std::string_view text, std::string_view rest);
  void Flush();
  void CountUnderWay();

  Context& context_;
  Guest& guest_;
  StreamSocket socket_;
  const std::uint32_t port_;
  const Kind kind_;
  const std::unique_ptr<Wire::Framing> framing_;
  Clock::time_point frameSince_;
  // The text that the daemon has not taken yet, and what was read behind it.
  std::string held_;
  std::string rest_;
  std::string unsent_;
  Clock::time_point unsentSince_;
  bool isHolding_ = false;
  bool awaitsSending_ = false;
  bool isUnderWay_ = false;
  bool isClosed_ = false;
};

}  // namespace Bridge
