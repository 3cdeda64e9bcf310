#include "framework/provider/enqueuer.h"

#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>

namespace Mirel::Asio {

void Enqueuer::operator()(std::function<void()> job) const {
  boost::asio::post(*context_, std::move(job));
}

}  // namespace Mirel::Asio
