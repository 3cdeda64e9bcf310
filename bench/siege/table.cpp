#include "bench/siege/table.h"

#include <cstdio>

namespace Siege {
namespace {

constexpr int kColumns = 22;

double Percentile(const std::vector<double>& ascending, double part) {
  if (ascending.empty()) return 0;
  return ascending[static_cast<std::size_t>(part * static_cast<double>(ascending.size() - 1))];
}

void PrintLatency(const std::vector<double>& ascending) {
  std::printf(" %.2f | %.1f | %.0f |", Percentile(ascending, 0.5), Percentile(ascending, 0.99),
              Percentile(ascending, 1));
}

void PrintVictims(const CanaryFigures& canary) {
  std::printf(" %llu | %llu | %llu |", static_cast<unsigned long long>(canary.sent),
              static_cast<unsigned long long>(canary.sent - canary.ackMs.size()),
              static_cast<unsigned long long>(canary.sent - canary.deliveryMs.size()));
  PrintLatency(canary.ackMs);
  PrintLatency(canary.deliveryMs);
  std::printf(" %u/%u | %.0f |", canary.newcomersIn, canary.newcomersTried, canary.slowestNewcomerMs);
}

void PrintDaemon(const Outcome& outcome) {
  std::printf(" %.0f | %.1f | %.1f | %.1f | %u, %u, %u | %.0f | %s |\n", outcome.after.peakMiB,
              outcome.after.cpuSeconds - outcome.before.cpuSeconds,
              static_cast<double>(outcome.logBytes) / 1024, static_cast<double>(outcome.auditBytes) / 1024,
              outcome.before.descriptors, outcome.kMostDescriptors, outcome.after.descriptors,
              outcome.descriptorsBackSeconds, outcome.remarks.c_str());
}

}  // namespace

void PrintHeading() {
  std::printf(
      "| scene | attack | its CPU s | others' CPU s | sent | lost acks | lost elements | ack ms: p50 | p99 | "
      "max | element "
      "ms: p50 "
      "| p99 | max | newcomers | slowest ms | peak MiB | CPU s | log KiB | audit KiB | descriptors | back s "
      "| remarks |\n|");
  for (int i = 0; i < kColumns; ++i) std::printf(" --- |");
  std::printf("\n");
  std::fflush(stdout);
}

void PrintRow(const Scene& scene, const Outcome& outcome) {
  std::printf("| %s, %.0f s | %llu %s, %llu held | %.1f | %.0f |", scene.name, outcome.seconds,
              static_cast<unsigned long long>(outcome.done), scene.counted,
              static_cast<unsigned long long>(outcome.held), outcome.attackerCpuSeconds,
              outcome.otherCpuSeconds);
  PrintVictims(outcome.canary);
  PrintDaemon(outcome);
  std::fflush(stdout);
}

}  // namespace Siege
