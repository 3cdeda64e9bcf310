#pragma once

#include <string>
#include <vector>

#include "testing/temporaryFolder.h"

namespace Testing {

// How a run of hesper-host ended.
struct Outcome {
  int status = -1;
  std::string output;
  std::string errors;
};

// Runs hesper-host on the host that KRELL_HOST_DIR names.
Outcome RunRegistry(const std::vector<std::string>& arguments, const std::string& input = {});

// The path of a recorded domain.
inline std::string DomainFile(const std::string& name) {
  return std::string(DOMAINS_FOLDER "/") + name + ".xml";
}

// The text with the first occurrence of a part exchanged.
inline std::string Exchange(std::string text, const std::string& part, const std::string& other) {
  return text.replace(text.find(part), part.size(), other);
}

}  // namespace Testing
