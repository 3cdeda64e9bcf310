#pragma once

#include <optional>
#include <string>

#include "fleet/forward/coverage.h"

namespace Fleet {

// Keeps until when everything is stored, for the next start. One line of text, mode 0600.
class StateFile final {
 public:
  explicit StateFile(std::string path) : path_(std::move(path)) {}

  enum class Found { Nothing, Time, Garbage };
  struct Content {
    Found found = Found::Nothing;
    WallTime storedUntil = {};
  };
  // Throws std::system_error if there is one that can't be read.
  Content Read() const;
  // The whole of it or nothing; not forced to the disk, as what a crash of the machine leaves is an older
  // time, or garbage, which is asked for as the longest gap. Throws std::system_error.
  void Write(WallTime storedUntil);

 private:
  const std::string path_;
  std::string last_;
};

}  // namespace Fleet
