#pragma once

#include <string>

namespace Krell {

// Address of the AF_UNIX socket of this name in a folder that is open: it holds as long as the folder stays
// open and isn't moved.
struct EndpointAddress {
  EndpointAddress(int folder, const std::string& name);
  char bytes[110];
  unsigned int length;
};

}  // namespace Krell
