#pragma once

#include <string>

namespace Mirel::Core {

// Names one operation: on the wire "service.operation", split at the last dot.
struct MethodIdentifier {
  std::string service;
  std::string operation;

  std::string ToString() const { return service + "." + operation; }
};

}  // namespace Mirel::Core
