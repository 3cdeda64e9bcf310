#include "guest/agent/log.h"

#include <cstdio>
#include <cstdlib>

namespace GuestAgent {
namespace {

// journald reads the priority off a line; people needn't.
void Log(int priority, const std::string& text) {
  static const bool isJournal = std::getenv("JOURNAL_STREAM") != nullptr;
  if (isJournal) {
    std::fprintf(stderr, "<%d>%s\n", priority, text.c_str());
  } else {
    std::fprintf(stderr, "hesper-guestd: %s\n", text.c_str());
  }
}

}  // namespace

void LogWarning(const std::string& text) {
  Log(4, text);
}

void LogNotice(const std::string& text) {
  Log(5, text);
}

}  // namespace GuestAgent
