#pragma once

#include <string>

#include "platform/krell/host.h"
#include "tests/corvane/temporaryFolder.h"

namespace Intake {

// A host directory of its own, which KRELL_HOST_DIR names for the life of the object.
class TestHost {
 public:
  // The faults are lines of the stand-in's "faults" file.
  explicit TestHost(const std::string& faults = "");
  ~TestHost();
  TestHost(const TestHost&) = delete;
  TestHost& operator=(const TestHost&) = delete;

  Krell::VirtualMachine AddVm(uint32_t cid, const std::string& biosUuid);
  void RemoveVm(uint32_t cid) { host_.Remove(cid); }

 private:
  TemporaryFolder folder_;
  Krell::Host host_;
};

// The text of a publication; the members are those of "header" and "payload".
std::string Text(const std::string& header, const std::string& payload);
std::string GoodText(uint64_t sequence, const std::string& moreHeader = "");

}  // namespace Intake
