#pragma once

#include <string>
#include <string_view>

namespace GuestAgent {

// What keeps the text from being metrics in the text form of Prometheus or OpenMetrics, as the end of a
// sentence; empty if nothing does. The lines alone are looked at, and not whether they fit each other; they
// have to be plain UTF-8, as they are shown to people.
std::string FaultOfMetrics(std::string_view text);

}  // namespace GuestAgent
