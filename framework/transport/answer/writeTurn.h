#pragma once

#include <boost/asio/execution_context.hpp>
#include <boost/asio/io_context.hpp>
#include <memory>
#include <vector>

#include "framework/transport/connection/inbox.h"
#include "platform/corvane/mutex.h"

namespace Mirel::Transport::Http {

class Response;

// The responses of an I/O context that have a result to write. Their writes come together, put off behind the
// work in which the results were given. May be used by any thread.
class WriteTurn final : public boost::asio::execution_context::service {
 public:
  static WriteTurn& Of(boost::asio::io_context& context);
  explicit WriteTurn(boost::asio::execution_context& context);

  // Runs the response's SendBodies on the context, never inside the call.
  void Add(std::shared_ptr<Response> response);

  static boost::asio::execution_context::id id;

 private:
  using Responses = std::vector<std::shared_ptr<Response>>;

  void Run();
  void shutdown() override;

  Asio::Inbox& inbox_;
  Corvane::Mutex mutex_;
  Responses waiting_ CORVANE_GUARDED_BY(mutex_);
  // Empty; its room is used again.
  Responses spare_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Mirel::Transport::Http
