#pragma once

#include <atomic>
#include <mutex>

#include "framework/transport/connection/asyncPutbackStream.h"
#include "framework/transport/connection/connectionTable.h"
#include "framework/transport/connection/ioTypes.h"
#include "framework/transport/connection/timeoutBaseStream.h"

namespace Mirel::Asio {

// An accepted connection. Its lock is a plain std::mutex: completions take it through the data that outlive
// the stream, a road on which clang's analysis of Corvane::Mutex can't recognize it.
class IoStream final : public AsyncPutbackStream<TimeoutBaseStream<TcpSocket, std::mutex, SteadyTimer>> {
 public:
  using AsyncPutbackStream::AsyncPutbackStream;

  // The layer at the bottom of every stack, to which all writes go.
  IoStream& Base() { return *this; }

  ConnectionTable::Slot& TableSlot() { return slot_; }
  // Gives the former value.
  bool SetWatched(bool watched) { return watched_.exchange(watched); }

 private:
  std::atomic<bool> watched_ = false;
  ConnectionTable::Slot slot_;
};

}  // namespace Mirel::Asio
