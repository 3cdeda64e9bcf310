#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

namespace KrellCtl::Lib {

class SysinfoException final : public std::exception {
 public:
  explicit SysinfoException(std::string text) : text_(std::move(text)) {}
  virtual const std::string& GetText() const { return text_; }
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace KrellCtl::Lib

namespace KrellCtl::Util {

// The nodes. A list of the ids of all running VMMs:
inline constexpr unsigned int kNodeVmmList = 783;
// a VmmInfoRecord for an instance, which is a VMM's leader id:
inline constexpr unsigned int kNodeVmmInfo = 786;
// the VMM's leader id in 4 bytes for an instance, which is a cartel id:
inline constexpr unsigned int kNodeCartelLeader = 1299;

// What names a VM: texts that end with a NUL.
struct VmmInfoRecord {
  using Text = std::array<char, 128>;

  std::uint32_t reserved;
  Text biosUuid;
  Text vmUuid;
  Text mgrVmId;
  std::array<char, 3008> unused;
};
static_assert(sizeof(VmmInfoRecord) == 3396);

// One node of the kernel's information tree. Every failure throws KrellCtl::Lib::SysinfoException.
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
