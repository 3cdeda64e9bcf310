#pragma once

#include <string>
#include <vector>

#include "bench/siege/attacker.h"

namespace Siege {

// One caller for each request, who sends it on a new connection, waits for the answer, pauses and begins
// again. What was answered counts. Comes back when the time is over.
void CallAgainAndAgain(const Assault& assault, const std::vector<std::string>& requests, milliseconds pause);

}  // namespace Siege
