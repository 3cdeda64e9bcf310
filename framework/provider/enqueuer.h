#pragma once

#include <functional>

namespace boost::asio {
class io_context;
}

namespace Mirel::Asio {

// Posts a job on the I/O context. Requires: the context outlives it. The job never runs inside the call.
class Enqueuer {
 public:
  explicit Enqueuer(boost::asio::io_context& context) : context_(&context) {}

  void operator()(std::function<void()> job) const;

 private:
  boost::asio::io_context* context_;
};

}  // namespace Mirel::Asio
