#pragma once

#include <boost/asio/posix/stream_descriptor.hpp>
#include <cstdint>
#include <functional>
#include <vector>

namespace Krell {
class Host;
}

namespace Bridge {

// Tells of the host's VMs that start and stop, as it happens.
class HostWatch {
 public:
  // A cid whose VM may be another one now.
  using Change = std::function<void(std::uint32_t cid)>;
  // So many changes that they can't be told one by one.
  using Overflow = std::function<void()>;

  // Throws std::system_error. Requires: the host outlives it.
  HostWatch(boost::asio::io_context& io, const Krell::Host& host, Change change, Overflow overflow);

  void Start() { Await(); }

 private:
  void Await();
  bool ReadEvents();

  boost::asio::posix::stream_descriptor events_;
  const Change change_;
  const Overflow overflow_;
  std::vector<char> buffer_;
};

}  // namespace Bridge
