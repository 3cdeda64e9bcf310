#pragma once

#include <nats/nats.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Fleet {

enum class Outcome {
  Stored,
  Duplicate,   // the stream has it
  Unstorable,  // and always will be
  Again,       // nobody knows whether it's stored
};

struct PublishResult {
  std::vector<Outcome> outcomes;  // of each message of the batch
  std::string reason = {};        // why some have to be sent again, for people
  bool forbidden = false;         // only an administrator can mend it
};

// What becomes of the messages of one batch. The library tells of it from threads of its own.
class Acknowledgements final {
 public:
  void Begin(std::size_t messages);
  void Await(const natsMsg* message, std::size_t index);
  // What nobody waits for is ignored: it's of a batch that was given up.
  void Settle(const natsMsg* message, Outcome outcome, const std::string& reason);
  // The server has refused something of this connection.
  void Forbid(const std::string& reason);
  // Waits until each has an outcome or there will be none. What has none then is to be sent again.
  PublishResult Finish(std::chrono::milliseconds patience);

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::map<const natsMsg*, std::size_t> awaited_;
  PublishResult result_;
};

}  // namespace Fleet
