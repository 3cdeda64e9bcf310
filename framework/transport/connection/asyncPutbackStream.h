#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <cstddef>
#include <system_error>
#include <utility>

#include "framework/transport/connection/putBackBuffer.h"

namespace Mirel::Asio {

// Serves a read from bytes that were put back. The handler is posted, which keeps the reader's stack flat.
template <typename Executor, typename Handler>
void ReadPutBack(PutBackBuffer& held, const Executor& executor, const boost::asio::mutable_buffer& buffer,
                 Handler&& handler) {
  boost::asio::post(executor,
                    [handler = std::forward<Handler>(handler), bytes = held.Take(buffer)]() mutable {
                      handler(boost::system::error_code(), bytes);
                    });
}

// A stream to which its reader can give back what it read too far.
template <typename Stream>
class AsyncPutbackStream : public Stream {
 public:
  using Stream::Stream;

  // At once; sets ec to a code of AsioCategory when the bytes cannot be kept.
  void PutBack(const boost::asio::const_buffer& bytes, std::error_code& ec) { held_.PutBack(bytes, ec); }

  template <typename Handler>
  void async_read_some(const boost::asio::mutable_buffer& buffer, Handler&& handler) {
    if (held_.Empty()) {
      Stream::async_read_some(buffer, std::forward<Handler>(handler));
    } else {
      ReadPutBack(held_, this->get_executor(), buffer, std::forward<Handler>(handler));
    }
  }

 private:
  PutBackBuffer held_;
};

}  // namespace Mirel::Asio
