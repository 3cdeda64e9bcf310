#include "bench/siege/table.h"

#include <cstdio>

namespace Siege {
namespace {

double Percentile(const std::vector<double>& ascending, double part) {
  if (ascending.empty()) return 0;
  return ascending[static_cast<std::size_t>(part * static_cast<double>(ascending.size() - 1))];
}

}  // namespace

void PrintHeading() {
  std::printf(
      "| scene | attack | attacker CPU s | sent | acked | received | ack p50 ms | p99 ms | max ms | "
      "newcomers | slowest ms "
      "| peak MiB | CPU s | log KiB | audit KiB | descriptors | back s | remarks |\n"
      "| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- | --- "
      "| --- |\n");
  std::fflush(stdout);
}

void PrintRow(const Scene& scene, const Outcome& outcome) {
  const auto& canary = outcome.canary;
  std::printf(
      "| %s, %.0f s | %llu %s, %llu held | %.1f | %llu | %llu | %llu | %.2f | %.2f | %.1f | %u/%u | %.0f ",
      scene.name, outcome.seconds, static_cast<unsigned long long>(outcome.done), scene.counted,
      static_cast<unsigned long long>(outcome.held), outcome.attackerCpuSeconds,
      static_cast<unsigned long long>(canary.sent), static_cast<unsigned long long>(canary.acknowledged),
      static_cast<unsigned long long>(canary.received), Percentile(canary.ackMs, 0.5),
      Percentile(canary.ackMs, 0.99), Percentile(canary.ackMs, 1), canary.newcomersIn, canary.newcomersTried,
      canary.slowestNewcomerMs);
  std::printf("| %.0f | %.1f | %.1f | %.1f | %u, %u, %u | %.0f | %s |\n", outcome.after.peakMiB,
              outcome.after.cpuSeconds - outcome.before.cpuSeconds,
              static_cast<double>(outcome.logBytes) / 1024, static_cast<double>(outcome.auditBytes) / 1024,
              outcome.before.descriptors, outcome.mostDescriptors, outcome.after.descriptors,
              outcome.descriptorsBackSeconds, outcome.remarks.c_str());
  std::fflush(stdout);
}

}  // namespace Siege
