#include "platform/token/keyFile.h"

#include <utility>
#include <vector>

#include "platform/token/tokenSettings.h"

namespace NornToken {

using Mirel::Log::SeverityLevel;

KeyFile::KeyFile(std::string path, std::shared_ptr<Mirel::Log::Logger> logger)
    : path_(std::move(path)), logger_(std::move(logger)), keys_(std::make_shared<KeySet>()) {}

std::shared_ptr<const KeySet> KeyFile::Keys() {
  const std::lock_guard lock(mutex_);
  // Taken before the file is read, so that what is written meanwhile is seen as one more change.
  const auto version = VersionOf(path_);
  if (seen_ != version) {
    seen_ = version;
    Reload();
  }
  return keys_;
}

void KeyFile::Reload() {
  std::string text;
  std::string fault;
  std::vector<std::string> notes;
  std::shared_ptr<const KeySet> keys;
  if (ReadTrustedFile(path_, Access::kPublic, kMaxKeyFileBytes, text, fault)) {
    keys = KeySet::Parse(text, notes, fault);
  }
  if (!keys) {
    Write(logger_, SeverityLevel::Warning, "Token keys in ", path_, " are not taken, ", keys_->size(),
          " earlier ones stay: ", fault);
    return;
  }
  keys_ = std::move(keys);
  for (const auto& note : notes) Write(logger_, SeverityLevel::Warning, "Token keys in ", path_, ": ", note);
  Write(logger_, SeverityLevel::Info, "Token keys in ", path_, ": ", keys_->size(), " in use");
}

}  // namespace NornToken
