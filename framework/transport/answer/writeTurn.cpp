#include "framework/transport/answer/writeTurn.h"

#include <utility>

#include "framework/transport/answer/response.h"

namespace Mirel::Transport::Http {

boost::asio::execution_context::id WriteTurn::id;

WriteTurn& WriteTurn::Of(boost::asio::io_context& context) {
  return boost::asio::use_service<WriteTurn>(context);
}

WriteTurn::WriteTurn(boost::asio::execution_context& context)
    : service(context), inbox_(Asio::Inbox::Of(static_cast<boost::asio::io_context&>(context))) {}

void WriteTurn::Add(std::shared_ptr<Response> response) {
  const Corvane::MutexLock lock(mutex_);
  waiting_.push_back(std::move(response));
  if (waiting_.size() == 1) inbox_.PutOff([this] { Run(); });
}

void WriteTurn::Run() {
  Responses responses;
  {
    const Corvane::MutexLock lock(mutex_);
    responses.swap(waiting_);
    waiting_.swap(spare_);
  }
  for (const auto& response : responses) response->SendBodies();
  responses.clear();
  const Corvane::MutexLock lock(mutex_);
  spare_.swap(responses);
}

void WriteTurn::shutdown() {
  Responses dropped;
  const Corvane::MutexLock lock(mutex_);
  dropped.swap(waiting_);
}

}  // namespace Mirel::Transport::Http
