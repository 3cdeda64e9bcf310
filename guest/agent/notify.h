#pragma once

namespace GuestAgent {

// Tells systemd how the service is, in the words of sd_notify(3) such as "READY=1". Does nothing where nobody
// asked for it.
void Notify(const char* state);

}  // namespace GuestAgent
