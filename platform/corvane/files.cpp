#include "platform/corvane/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/corvane/exception.h"

namespace Corvane::System {
namespace {

constexpr mode_t kFileMode = 0644;
constexpr mode_t kDirectoryMode = 0755;

// Never writable by more than that, not even for a moment.
std::FILE* OpenForWriting(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, kFileMode);
  return descriptor < 0 ? nullptr : ::fdopen(descriptor, "w");
}

}  // namespace

Ref<Path> Path::GetParent() const {
  return MakeRef<Path>(std::filesystem::path(text_).parent_path().string());
}

FileWriter::FileWriter(const Path& path) : path_(path.GetText()), file_(OpenForWriting(path_)) {
  if (file_ == nullptr || ::fchmod(::fileno(file_), kFileMode) != 0) Fail("open");
}

FileWriter::~FileWriter() {
  if (file_ != nullptr) std::fclose(file_);
}

void FileWriter::Write(std::string_view bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) Fail("write");
}

void FileWriter::Flush() {
  if (std::fflush(file_) != 0) Fail("write");
}

void FileWriter::Close() {
  if (std::fclose(std::exchange(file_, nullptr)) != 0) Fail("close");
}

void FileWriter::Fail(const char* action) const {
  const int error = errno;
  throw Exception(std::string("cannot ") + action + " " + path_ + ": " + std::strerror(error));
}

namespace {

SystemFactory theFactory;

}  // namespace

// Set at compile time, so that it is there for the constructors of other globals too.
constinit SystemFactory* const SystemFactory::sInstance = &theFactory;

Ref<Path> SystemFactory::MakePath(const std::string& text) const {
  return MakeRef<Path>(text);
}

bool SystemFactory::DirectoryExists(const Path& path) const {
  std::error_code ignored;
  return std::filesystem::is_directory(path.GetText(), ignored);
}

bool SystemFactory::CreateDirectory(const Path& path) const {
  if (DirectoryExists(path)) return true;
  const auto parent = path.GetParent();
  if (!parent->GetText().empty() && parent->GetText() != path.GetText() && !CreateDirectory(*parent)) {
    return false;
  }
  const char* text = path.GetText().c_str();
  if (::mkdir(text, kDirectoryMode) == 0) return ::chmod(text, kDirectoryMode) == 0;
  if (errno == EEXIST) errno = ENOTDIR;
  return false;
}

Ref<FileWriter> SystemFactory::OpenFileForWriting(const Path& path) const {
  return MakeRef<FileWriter>(path);
}

}  // namespace Corvane::System
