#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace Testing {

// A folder of its own for one test, removed with all that is in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "norn-XXXXXX").string();
    path_ = ::mkdtemp(pattern.data());
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  std::string Write(const std::string& name, const std::string& content) const {
    std::ofstream(path_ / name) << content;
    return *this / name;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace Testing
