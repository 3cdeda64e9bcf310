#include "testing/processFolder.h"

#include <stdlib.h>

#include <cstdlib>
#include <stdexcept>

namespace Testing {
namespace {

std::string MakeFolder() {
  std::string name = "/tmp/nornhesper-test.XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp failed");
  return name;
}

}  // namespace

const std::string& ProcessFolder() {
  // Never destroyed: it is still wanted at the very end.
  static const auto& folder = *new std::string([] {
    auto name = MakeFolder();
    std::atexit([] { (void)!std::system(("rm -rf " + ProcessFolder()).c_str()); });
    return name;
  }());
  return folder;
}

}  // namespace Testing
