#include "guest/agent/log.h"

#include <cstdio>

namespace GuestAgent {

void LogWarning(const std::string& text) {
  std::fprintf(stderr, "<4>%s\n", text.c_str());
}

void LogNotice(const std::string& text) {
  std::fprintf(stderr, "<5>%s\n", text.c_str());
}

}  // namespace GuestAgent
