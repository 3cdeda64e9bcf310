#pragma once

#include <string>

namespace Tools {

// `hesper-host hook`: what libvirt calls for each change of a domain (https://libvirt.org/hooks.html), with
// the domain's description on the standard input. It says in the log what it can't do, and never fails: a
// hook that fails stops the domain.
class LibvirtHook {
 public:
  std::string domain;
  std::string operation;
  std::string subOperation;
  std::string extra;

  void Run() const noexcept;

 private:
  void Apply() const;
};

}  // namespace Tools
