#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "testing/daemon.h"

namespace Testing {

// What the daemons that are started meanwhile meet; guests and programs of this process don't.
class KernelFaults {
 public:
  explicit KernelFaults(const std::string& lines) {
    std::ofstream(Path()) << "program nornhesperd\n" << lines;
  }
  KernelFaults(const KernelFaults&) = delete;
  KernelFaults& operator=(const KernelFaults&) = delete;
  ~KernelFaults() { std::filesystem::remove(Path()); }

 private:
  static std::string Path() { return SharedHost().Directory() + "/faults"; }
};

}  // namespace Testing
