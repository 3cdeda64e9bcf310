#pragma once

#include <string>

#include "bench/siege/canary.h"
#include "bench/siege/scenes.h"
#include "testing/procfs.h"

namespace Siege {

// What a scene has shown.
struct Outcome {
  CanaryFigures canary;
  std::uint64_t done = 0;
  std::uint64_t held = 0;
  double attackerCpuSeconds = 0;
  double otherCpuSeconds = 0;  // of processes that have no part in the scene
  double seconds = 0;
  Testing::ProcessFigures before;  // of the daemon, with the canary there
  Testing::ProcessFigures after;
  unsigned kMostDescriptors = 0;
  // Until the daemon had no more descriptors than before, after the attack; negative when that wasn't seen.
  double descriptorsBackSeconds = -1;
  std::uintmax_t logBytes = 0;
  std::uintmax_t auditBytes = 0;
  std::string remarks;
};

// Plays the scene against a daemon of its own. All VMs have to be there.
Outcome Play(const Scene& scene);

}  // namespace Siege
