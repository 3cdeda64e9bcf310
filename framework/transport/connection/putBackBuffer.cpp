#include "framework/transport/connection/putBackBuffer.h"

#include <stdexcept>
#include <string>

#include "framework/transport/connection/asioCategory.h"

namespace Mirel::Asio {
namespace {

void Append(boost::asio::streambuf& target, const boost::asio::const_buffer& bytes) {
  target.commit(boost::asio::buffer_copy(target.prepare(bytes.size()), bytes));
}

}  // namespace

std::size_t PutBackBuffer::Take(const boost::asio::mutable_buffer& buffer) {
  const std::size_t copied = boost::asio::buffer_copy(buffer, bytes_.data());
  bytes_.consume(copied);
  return copied;
}

void PutBackBuffer::PutBack(const boost::asio::const_buffer& bytes, std::error_code& ec) {
  ec.clear();
  if (bytes.size() == 0) return;
  try {
    if (Empty()) {
      Append(bytes_, bytes);
      return;
    }
    std::string later(static_cast<const char*>(Held().data()), Held().size());
    bytes_.prepare(bytes.size());
    bytes_.consume(later.size());
    Append(bytes_, bytes);
    Append(bytes_, boost::asio::buffer(later));
  } catch (const std::length_error&) {
    ec = AsioError::BufferMaxLength;
  }
}

}  // namespace Mirel::Asio
