#pragma once

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/io_context_strand.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <utility>

#include "framework/core/log.h"
#include "framework/core/text.h"
#include "framework/transport/connection/acceptOutcome.h"
#include "framework/transport/connection/ioTimeouts.h"
#include "framework/transport/connection/requestLog.h"

namespace Mirel::Asio {

class PolymorphicStreamServer {
 public:
  virtual ~PolymorphicStreamServer() = default;
  // Begins to accept. Requires: the listener is open; the first call, before or on the I/O context's thread.
  virtual boost::system::error_code Start() = 0;
  // Closes the listener; accepted connections run on.
  virtual boost::system::error_code Stop() = 0;
};

// Accepts into new streams.
template <typename Listener, typename Stream, typename Timeouts>
class Acceptor {
 public:
  Acceptor(std::shared_ptr<Listener> listener, const Timeouts& timeouts)
      : listener_(std::move(listener)), timeouts_(timeouts) {}

  Listener& Socket() { return *listener_; }

  // The handler gets an error code and the stream.
  template <typename StrandT, typename Handler>
  void AsyncAccept(StrandT& strand, Handler handler) {
    auto stream = std::make_shared<Stream>(listener_->get_executor());
    stream->SetTimeouts(timeouts_);
    auto& socket = stream->LowestSocket();
    listener_->async_accept(
        socket, boost::asio::bind_executor(
                    strand, [stream = std::move(stream), handler = std::move(handler)](
                                const boost::system::error_code& error) mutable { handler(error, stream); }));
  }

 private:
  std::shared_ptr<Listener> listener_;
  Timeouts timeouts_;
};

struct AcceptAllCond {
  template <typename Stream>
  bool operator()(const Stream&) const {
    return true;
  }
};

template <typename Stream>
struct StreamServerSpec {
  // Sets the options of an accepted stream.
  std::function<void(Stream&)> tuner;
  // Whether another connection may be accepted now; asked before each accept.
  std::function<bool()> hasRoom;
  std::shared_ptr<Log::Logger> logger;
};

// The accept loop of one listener. All its steps run on a strand; it lives on its pending accept. The
// handler gets each accepted stream.
template <typename AcceptorT, typename Handler, typename Cond, typename Spec>
class StreamServer final : public PolymorphicStreamServer,
                           public std::enable_shared_from_this<StreamServer<AcceptorT, Handler, Cond, Spec>> {
 public:
  StreamServer(boost::asio::io_context& io, AcceptorT acceptor, std::shared_ptr<const Handler> handler,
               Spec spec)
      : strand_(io), acceptor_(std::move(acceptor)), handler_(std::move(handler)), spec_(std::move(spec)) {}

  boost::system::error_code Start() override {
    if (!acceptor_.Socket().is_open()) return Closed();
    Arm();
    return {};
  }

  boost::system::error_code Stop() override {
    if (!acceptor_.Socket().is_open()) return Closed();
    boost::asio::post(strand_, [self = this->shared_from_this()] {
      boost::system::error_code ignored;
      self->acceptor_.Socket().close(ignored);
    });
    return {};
  }

 private:
  static constexpr auto kAcceptDelay = std::chrono::milliseconds(500);

  static boost::system::error_code Closed() { return {EBADF, boost::system::system_category()}; }

  // One accept is outstanding at a time.
  void Arm() {
    if (armed_) return;
    if (!spec_.hasRoom()) {
      if (!delayed_) Delay();
      return;
    }
    armed_ = true;
    if (!acceptor_.Socket().is_open()) {
      boost::asio::post(strand_, [self = this->shared_from_this()] {
        self->armed_ = false;
        self->LogFailure(AcceptOutcome::Of(Closed()));
      });
      return;
    }
    acceptor_.AsyncAccept(strand_, [self = this->shared_from_this()](const boost::system::error_code& error,
                                                                     const auto& stream) {
      self->armed_ = false;
      self->OnAccept(error, stream);
    });
  }

  template <typename StreamPtr>
  void OnAccept(const boost::system::error_code& error, const StreamPtr& stream) {
    const auto outcome = AcceptOutcome::Of(error);
    if (!error) spec_.tuner(*stream);
    if (outcome.Failed()) LogFailure(outcome);
    if ((outcome.flags & AcceptOutcome::kTerminalAcceptError) != 0) return;
    if ((outcome.flags & AcceptOutcome::kDelayAcceptError) != 0) {
      // Without a descriptor, the next accept fails at once while a client waits. So only the first failure
      // is followed by an immediate retry; after it, the next try comes when the delay has ended.
      if (delayed_) return;
      Delay();
    }
    if (acceptor_.Socket().is_open()) Arm();
    if (!error && Cond()(*stream)) (*handler_)(stream);
  }

  void Delay() {
    delayed_ = true;
    auto timer = std::make_shared<SteadyTimer>(acceptor_.Socket().get_executor());
    timer->expires_after(kAcceptDelay);
    timer->async_wait(boost::asio::bind_executor(
        strand_, [self = this->shared_from_this(), timer](const boost::system::error_code& error) {
          self->delayed_ = false;
          if (!error) {
            self->Start();
          } else {
            Log::Write(self->spec_.logger, Transport::kAcceptError,
                       "Delay timer Accept Error: ", StringOfError(error),
                       LocalEndpointText(self->acceptor_.Socket()));
          }
        }));
  }

  void LogFailure(const AcceptOutcome& outcome) {
    Log::Write(spec_.logger, Transport::kAcceptError, "Accept Error: ", outcome,
               ".Acceptor info:", LocalEndpointText(acceptor_.Socket()));
  }

  boost::asio::io_context::strand strand_;
  AcceptorT acceptor_;
  std::shared_ptr<const Handler> handler_;
  Spec spec_;
  bool armed_ = false;
  bool delayed_ = false;
};

}  // namespace Mirel::Asio
