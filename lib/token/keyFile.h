#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "framework/core/log.h"
#include "lib/token/keySet.h"
#include "lib/token/trustedFile.h"
#include "platform/corvane/mutex.h"

namespace NornToken {

// The key set in a file, read anew whenever the file has changed. Only a regular file of root or of this
// process's user, that nobody else may write, is believed. Whatever is wrong with the file, the last good
// keys stay, and one line a change says so; before the first good read there are no keys at all. A file that
// can't be read for now is tried again half a second later, when keys are asked for. To withdraw all keys,
// the file is replaced by an empty set. Used by any thread.
class KeyFile {
 public:
  KeyFile(std::string path, std::shared_ptr<Mirel::Log::Logger> logger);

  // The keys as of now; never null. Costs one stat when nothing has changed.
  std::shared_ptr<const KeySet> Keys();

 private:
  using Clock = std::chrono::steady_clock;

  // Gives true when the file was judged, good or bad, and false when it couldn't be read for now.
  bool Reload(bool isNew) CORVANE_REQUIRES(mutex_);
  void Take(std::shared_ptr<const KeySet> keys, const std::vector<std::string>& notes)
      CORVANE_REQUIRES(mutex_);

  const std::string path_;
  const std::shared_ptr<Mirel::Log::Logger> logger_;
  Corvane::Mutex mutex_;
  std::optional<FileVersion> seen_ CORVANE_GUARDED_BY(mutex_);
  // When the version that was seen is read once more: never, once it's judged.
  Clock::time_point readAgainAt_ CORVANE_GUARDED_BY(mutex_);
  // What was wrong with it, which is logged once.
  std::string fault_ CORVANE_GUARDED_BY(mutex_);
  std::shared_ptr<const KeySet> keys_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace NornToken
