#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/corvane/mutex.h"

namespace Fleet {

// The body of an answer that goes on for as long as it likes: one side writes, from any thread, the server
// reads. Bounded: what a slow client doesn't take is refused to the writer.
class BodyPipe final {
 public:
  explicit BodyPipe(std::size_t most) : most_(most) {}

  // False, with nothing written, if there is no room or the pipe has ended.
  bool Write(std::string_view bytes);
  // The client gets what is in it and then the end. Either side may call it.
  void End();
  bool HasEnded() const;

  // For the server. Gives up to so many bytes. Nothing at hand: calls `sleep` and gives 0, and the next Write
  // or End calls `wake`, once. Ended: -1.
  long Read(char* bytes, std::size_t room, const std::function<void()>& sleep, std::function<void()> wake);

 private:
  void Wake() CORVANE_REQUIRES(mutex_);

  const std::size_t most_;
  mutable Corvane::Mutex mutex_;
  std::string waiting_ CORVANE_GUARDED_BY(mutex_);
  bool ended_ CORVANE_GUARDED_BY(mutex_) = false;
  std::function<void()> wake_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Fleet
