#pragma once

#include <sys/socket.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/defer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>

#include "framework/transport/connection/ioTimeouts.h"

namespace Mirel::Asio {

// The sum, held within the clock's range.
template <typename Clock>
typename Clock::time_point Deadline(typename Clock::time_point now, std::chrono::nanoseconds timeout) {
  using TimePoint = typename Clock::time_point;
  if (timeout.count() >= 0 && now > TimePoint::max() - timeout) return TimePoint::max();
  if (timeout.count() < 0 && now < TimePoint::min() - timeout) return TimePoint::min();
  return now + timeout;
}

// A socket with a deadline on every single read and write. A deadline that passes shuts the connection down:
// the pending operation then ends as if the peer had gone. Between two operations no timer runs, so a
// connection may be idle for as long as its users start nothing.
//
// One read and one write may be pending at once. Handlers run on the socket's executor, never inside the
// call. Requires: a handler keeps the stream alive.
template <typename Socket, typename Mutex, typename Timer>
class TimeoutBaseStream {
 public:
  using executor_type = typename Socket::executor_type;

  explicit TimeoutBaseStream(const executor_type& executor)
      : socket_(executor), data_(std::make_shared<Data>(executor)) {}

  executor_type get_executor() noexcept { return socket_.get_executor(); }
  Socket& LowestSocket() { return socket_; }
  void SetTimeouts(const IOTimeouts& timeouts) { timeouts_ = timeouts; }

  // Closes the socket, on any thread. What is pending then ends as if the peer had gone.
  void Close() {
    const std::lock_guard lock(data_->mutex);
    CloseSocket();
  }
  // The same, but leaves a socket alone on which an operation is pending.
  void CloseUnlessBusy() {
    const std::lock_guard lock(data_->mutex);
    if (pending_ == 0) CloseSocket();
  }

  template <typename Handler>
  void async_read_some(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    const std::lock_guard lock(data_->mutex);
    if (ended_) {
      boost::asio::post(get_executor(), [handler = std::forward<Handler>(handler)]() mutable {
        handler(boost::system::error_code(boost::asio::error::eof), std::size_t{0});
      });
      return;
    }
    Begin(data_->readTimer, timeouts_.readTimeout);
    socket_.async_read_some(buffer, [this, data = data_, handler = std::forward<Handler>(handler)](
                                        boost::system::error_code error, std::size_t bytes) mutable {
      if (!End(*data, data->readTimer)) {
        error = boost::asio::error::eof;
        bytes = 0;
      }
      if (error == boost::asio::error::eof) ended_ = true;
      handler(error, bytes);
    });
  }

  // Gives the kernel what it takes of the buffers without waiting, and says how many bytes that are. With
  // `followed` it may keep the last ones back for those of the next call (MSG_MORE), so that many small
  // writes make one segment; Push ends that.
  template <typename ConstBuffers>
  std::size_t WriteNow(const ConstBuffers& buffers, bool followed, boost::system::error_code& error) {
    const std::lock_guard lock(data_->mutex);
    if (!socket_.is_open()) {
      error.assign(EPIPE, boost::system::system_category());
      return 0;
    }
    std::size_t bytes = 0;
    if (!WriteAtOnce(buffers, followed ? MSG_MORE : 0, error, bytes)) error.clear();
    return bytes;
  }
  void Push() {
    const std::lock_guard lock(data_->mutex);
    boost::system::error_code ignored;
    // On Linux, setting this option sends what is kept back, whatever it was before: tcp(7).
    socket_.set_option(boost::asio::ip::tcp::no_delay(true), ignored);
  }

  template <typename ConstBuffers, typename Handler>
  void async_write_some(const ConstBuffers& buffers, Handler&& handler) {
    const std::lock_guard lock(data_->mutex);
    boost::system::error_code error;
    std::size_t bytes = 0;
    if (WriteAtOnce(buffers, 0, error, bytes)) {
      ++pending_;
      boost::asio::defer(get_executor(), [this, data = data_, handler = std::forward<Handler>(handler), error,
                                          bytes]() mutable { CompleteWrite(*data, handler, error, bytes); });
      return;
    }
    Begin(data_->writeTimer, timeouts_.writeTimeout);
    socket_.async_write_some(buffers, [this, data = data_, handler = std::forward<Handler>(handler)](
                                          const boost::system::error_code& ec, std::size_t written) mutable {
      CompleteWrite(*data, handler, ec, written);
    });
  }

 private:
  using Clock = typename Timer::clock_type;

  struct Data {
    explicit Data(const executor_type& executor) : readTimer(executor), writeTimer(executor) {}
    Timer readTimer;
    Timer writeTimer;
    Mutex mutex;
  };

  // What the kernel takes without waiting needs no deadline, so the usual write starts and cancels no timer.
  // Gives false when the write has to wait.
  template <typename ConstBuffers>
  bool WriteAtOnce(const ConstBuffers& buffers, int flags, boost::system::error_code& error,
                   std::size_t& bytes) {
    if (!socket_.non_blocking()) {
      socket_.non_blocking(true, error);
      if (error) return true;
    }
    bytes = socket_.send(buffers, flags, error);
    return error != boost::asio::error::would_block && error != boost::asio::error::try_again &&
           error != boost::asio::error::interrupted;
  }

  void Begin(Timer& timer, std::chrono::nanoseconds timeout) {
    ++pending_;
    timer.expires_at(Deadline<Clock>(Clock::now(), timeout));
    timer.async_wait([this, data = data_, &timer](const boost::system::error_code& error) {
      if (!error) OnDeadline(*data, timer);
    });
  }

  // Ends the wait, and says whether the socket is still open. A callback of the timer that is queued already
  // finds the deadline moved, and doesn't touch the stream, which may be gone.
  bool End(Data& data, Timer& timer) {
    const std::lock_guard lock(data.mutex);
    --pending_;
    timer.expires_at(Clock::time_point::max());
    return socket_.is_open();
  }

  template <typename Handler>
  void CompleteWrite(Data& data, Handler& handler, const boost::system::error_code& error,
                     std::size_t bytes) {
    if (End(data, data.writeTimer)) {
      handler(error, bytes);
    } else {
      handler(boost::system::error_code(EPIPE, boost::system::system_category()), std::size_t{0});
    }
  }

  void CloseSocket() {
    boost::system::error_code ignored;
    socket_.close(ignored);
  }

  void OnDeadline(Data& data, Timer& timer) {
    const std::lock_guard lock(data.mutex);
    if (timer.expiry() > Clock::now()) return;
    // Only a shutdown: the descriptor must not be closed, and perhaps given out again, under an operation.
    if (socket_.is_open()) ::shutdown(socket_.native_handle(), SHUT_RDWR);
    timer.expires_at(Clock::time_point::max());
  }

  Socket socket_;
  IOTimeouts timeouts_{};
  std::shared_ptr<Data> data_;
  // The peer has sent its last byte. The reactor reports that only once, so a further read would wait.
  bool ended_ = false;
  // Reads and writes whose handlers have not been called.
  int pending_ = 0;
};

}  // namespace Mirel::Asio
