#pragma once

#include <mutex>

#include "framework/transport/asyncPutbackStream.h"
#include "framework/transport/ioTypes.h"
#include "framework/transport/timeoutBaseStream.h"

namespace Mirel::Asio {

// An accepted connection.
using IoStream = AsyncPutbackStream<TimeoutBaseStream<TcpSocket, std::mutex, SteadyTimer>>;

}  // namespace Mirel::Asio
