// The daemon under attack, and what its victims notice of it. usage: siege all | SCENE...

#include <cstdio>
#include <memory>
#include <string_view>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/canary.h"
#include "bench/siege/scenes.h"
#include "bench/siege/stage.h"
#include "bench/siege/table.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"
#include "tools/arguments.h"

namespace {

using namespace Siege;

int Usage() {
  std::fprintf(stderr, "usage: siege all | SCENE...\nscenes:");
  for (const auto& scene : Scenes()) std::fprintf(stderr, " %s", scene.name);
  std::fprintf(stderr, "\n");
  return Tools::kUsageError;
}

// What everybody needs is made before the first process is forked: VMs, and the header with the token.
std::vector<std::unique_ptr<Testing::Vm>> MakeHost() {
  std::vector<std::unique_ptr<Testing::Vm>> vms;
  for (std::uint32_t i = 0; i < kCanaryVms; ++i) {
    vms.push_back(std::make_unique<Testing::Vm>(kFirstCanaryCid + i));
  }
  for (std::uint32_t i = 0; i < kHostileVms; ++i) {
    vms.push_back(std::make_unique<Testing::Vm>(kFirstHostileCid + i));
  }
  Testing::Authorized();
  return vms;
}

void Show(const Scene& scene) {
  if (Target::Supports(scene.target.passwords)) return PrintRow(scene, Play(scene));
  std::printf("| %s | skipped: there's no pam_wrapper |\n", scene.name);
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<const Scene*> chosen;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "all") {
      for (const auto& scene : Scenes()) chosen.push_back(&scene);
    } else if (const auto* scene = FindScene(argv[i])) {
      chosen.push_back(scene);
    } else {
      return Usage();
    }
  }
  if (chosen.empty()) return Usage();
  const auto vms = MakeHost();
  PrintHeading();
  for (const auto* scene : chosen) Show(*scene);
}
