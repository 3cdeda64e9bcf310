#pragma once

#include <array>
#include <boost/asio/buffer.hpp>
#include <cstddef>
#include <span>

namespace Mirel::Asio {

// The same bytes in fewer buffers: runs of small ones are copied together. To the kernel each buffer of a
// write costs more than a copy of some hundred bytes. Lives on the stack, for the time of one write.
class FewBuffers {
 public:
  explicit FewBuffers(std::span<const boost::asio::const_buffer> buffers);
  FewBuffers(const FewBuffers&) = delete;
  FewBuffers& operator=(const FewBuffers&) = delete;

  // Perhaps not all of the bytes, but always some if there are any.
  std::span<const boost::asio::const_buffer> Get() const { return {few_.data(), count_}; }

 private:
  void Copy(boost::asio::const_buffer buffer);

  std::array<char, 8192> room_;
  std::size_t used_ = 0;
  // A chunk of 64 KiB seldom has more.
  std::array<boost::asio::const_buffer, 32> few_;
  std::size_t count_ = 0;
  // Whether the last buffer ends where room_ is free.
  bool open_ = false;
};

}  // namespace Mirel::Asio
