#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "fleet/stream/call.h"
#include "testing/processFolder.h"
#include "testing/subscriber.h"
#include "testing/temporaryFolder.h"

namespace Testing {

// A file with a token that this host's daemons accept.
inline const std::string& TokenFile() {
  static const std::string path = [] {
    constexpr std::string_view kBegin = "Authorization: Bearer ";
    const auto& line = Authorized();
    const auto file = ProcessFolder() + "/token";
    std::ofstream(file) << line.substr(kBegin.size(), line.size() - kBegin.size() - 2) << '\n';
    chmod(file.c_str(), 0600);
    return file;
  }();
  return path;
}

inline Fleet::Caller CallerOf(std::uint16_t port) {
  Fleet::Caller caller;
  caller.port = port;
  caller.tokenFile = TokenFile();
  return caller;
}

// The kind of a call's fault, and its text.
template <typename Call>
std::pair<Fleet::CallFault::Kind, std::string> FaultOf(Call call) {
  try {
    call();
  } catch (const Fleet::CallFault& fault) {
    return {fault.kind, fault.what()};
  }
  throw std::runtime_error("the call has no fault");
}

}  // namespace Testing
