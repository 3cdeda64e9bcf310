#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <utility>

#include "platform/corvane/object.h"

namespace Corvane::System {

class Path final : public ObjectImpl {
 public:
  explicit Path(std::string text) : text_(std::move(text)) {}

  const std::string& GetText() const { return text_; }
  Ref<Path> GetParent() const;

 private:
  std::string text_;
};

// A file opened for writing, emptied or new; its mode is 0644 whatever the umask says. Each operation throws
// Corvane::Exception with the path and the system's reason.
class FileWriter final : public ObjectImpl {
 public:
  explicit FileWriter(const Path& path);
  ~FileWriter() override;

  void Write(std::string_view bytes);
  // Hands what was written to the system; it is not forced to the disk.
  void Flush();
  // Reports what the end of the file's life would hide. The destructor closes too, in silence.
  void Close();

 private:
  [[noreturn]] void Fail(const char* action) const;

  std::string path_;
  std::FILE* file_;
};

// Makes the file-system objects; reached through sInstance.
class SystemFactory final : public ObjectImpl {
 public:
  static SystemFactory* const sInstance;

  Ref<Path> MakePath(const std::string& text) const;
  bool DirectoryExists(const Path& path) const;
  // With its missing parents, all of mode 0755 whatever the umask says. Gives false and sets errno when that
  // fails.
  bool CreateDirectory(const Path& path) const;
  Ref<FileWriter> OpenFileForWriting(const Path& path) const;
};

}  // namespace Corvane::System
