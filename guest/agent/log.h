#pragma once

#include <string>

namespace GuestAgent {

// One line on standard error; for journald with the priority in front (sd-daemon(3)).
void LogWarning(const std::string& text);
void LogNotice(const std::string& text);

}  // namespace GuestAgent
