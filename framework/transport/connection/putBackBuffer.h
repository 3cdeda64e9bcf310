#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/streambuf.hpp>
#include <cstddef>
#include <system_error>

namespace Mirel::Asio {

// Bytes that were read too far, and will be read again.
class PutBackBuffer {
 public:
  bool Empty() const { return bytes_.size() == 0; }

  // Moves as many bytes as fit into the buffer, and gives their number.
  std::size_t Take(const boost::asio::mutable_buffer& buffer);

  // The bytes are read next, before any that wait already: those came later on the connection. Sets the
  // error, and keeps the buffer as it was, when there is no room.
  void PutBack(const boost::asio::const_buffer& bytes, std::error_code& ec);

  boost::asio::const_buffer Held() const { return bytes_.data(); }

 private:
  boost::asio::streambuf bytes_;
};

}  // namespace Mirel::Asio
