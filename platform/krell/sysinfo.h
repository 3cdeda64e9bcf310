#pragma once

#include <exception>
#include <string>
#include <vector>

namespace KrellCtl::Lib {

class SysinfoException : public std::exception {
 public:
  explicit SysinfoException(std::string text) : text_(std::move(text)) {}
  virtual const std::string& GetText() const { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace KrellCtl::Lib

namespace KrellCtl::Util {

// A node of the kernel's information tree. Every failure throws KrellCtl::Lib::SysinfoException.
//
//   783   list: the ids of all running VMMs
//   786   get, instance VMM leader id: 3396 bytes, three NUL-terminated texts of 128 bytes at offsets 4,
//         132 and 260 (BIOS uuid, VM uuid, management server's id)
//   1299  get, instance cartel id: 4 bytes, the VMM leader id
class Sysinfo {
 public:
  explicit Sysinfo(unsigned int node);
  void SetInstance(const unsigned long& instance);
  // The size must be that of the node's record.
  void Get(void* buffer, unsigned int size);
  void List(std::vector<unsigned long>& ids);

 private:
  [[noreturn]] void Fail(const std::string& reason) const;

  unsigned int node_;
  unsigned long instance_ = 0;
};

}  // namespace KrellCtl::Util
