#include "bench/siege/callers.h"

#include <thread>

#include "bench/siege/client.h"

namespace Siege {

void CallAgainAndAgain(const Assault& assault, const std::vector<std::string>& requests, milliseconds pause) {
  std::vector<std::thread> callers;
  callers.reserve(requests.size());
  for (const auto& request : requests) {
    callers.emplace_back([&] {
      while (assault.GoesOn()) {
        if (!Ask(assault.port, request).empty()) assault.Count();
        Sleep(pause);
      }
    });
  }
  for (auto& caller : callers) caller.join();
}

}  // namespace Siege
