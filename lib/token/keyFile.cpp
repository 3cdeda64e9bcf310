#include "lib/token/keyFile.h"

#include <utility>

#include "lib/token/tokenSettings.h"

namespace NornToken {

using Mirel::Log::SeverityLevel;

namespace {

constexpr std::chrono::milliseconds kRetryAfter(500);

}  // namespace

KeyFile::KeyFile(std::string path, std::shared_ptr<Mirel::Log::Logger> logger)
    : path_(std::move(path)), logger_(std::move(logger)), keys_(std::make_shared<KeySet>()) {}

std::shared_ptr<const KeySet> KeyFile::Keys() {
  const Corvane::MutexLock lock(mutex_);
  // Taken before the file is read, so that what is written meanwhile is seen as one more change.
  const auto version = VersionOf(path_);
  const bool isNew = seen_ != version;
  if (!isNew && Clock::now() < readAgainAt_) return keys_;
  seen_ = version;
  readAgainAt_ = Reload(isNew) ? Clock::time_point::max() : Clock::now() + kRetryAfter;
  return keys_;
}

bool KeyFile::Reload(bool isNew) {
  std::string text;
  std::string fault;
  std::vector<std::string> notes;
  std::shared_ptr<const KeySet> keys;
  const auto reading = ReadTrustedFile(path_, Access::Public, kMaxKeyFileBytes, text, fault);
  if (reading == Reading::Done) keys = KeySet::Parse(text, notes, fault);
  if (keys) {
    Take(std::move(keys), notes);
  } else if (isNew || fault != fault_) {
    Write(logger_, SeverityLevel::Warning, "Token keys in ", path_, " are not taken, ", keys_->size(),
          " earlier ones stay: ", fault);
  }
  fault_ = fault;
  return reading != Reading::Failed;
}

void KeyFile::Take(std::shared_ptr<const KeySet> keys, const std::vector<std::string>& notes) {
  keys_ = std::move(keys);
  for (const auto& note : notes) Write(logger_, SeverityLevel::Warning, "Token keys in ", path_, ": ", note);
  Write(logger_, SeverityLevel::Info, "Token keys in ", path_, ": ", keys_->size(), " in use");
}

}  // namespace NornToken
