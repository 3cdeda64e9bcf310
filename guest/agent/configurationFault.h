#pragma once

#include <stdexcept>

namespace GuestAgent {

// What is wrong with a configuration, with its file and line, on one line.
class ConfigurationFault final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace GuestAgent
