#pragma once

#include <span>
#include <string_view>
#include <vector>

#include "bench/siege/attacker.h"
#include "bench/siege/target.h"

namespace Siege {

struct Scene {
  const char* name;
  const char* counted;  // what the attack counts
  std::vector<Attack> attacks;
  seconds length;
  TargetOptions target = {};
  // How long to wait afterwards for the descriptors to come back.
  seconds patience = seconds(10);
};

std::span<const Scene> Scenes();
const Scene* FindScene(std::string_view name);

}  // namespace Siege
