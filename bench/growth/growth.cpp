// What a publication costs the daemon when there are more and more subscribers, VMs or topic prefixes.
// `growth --help` tells the options.

#include <cmath>
#include <cstdio>
#include <exception>
#include <string>

#include "bench/growth/chart.h"
#include "bench/growth/series.h"
#include "bench/picture.h"
#include "bench/tcp.h"
#include "tools/arguments.h"

namespace {

using namespace Growth;

// The power of the count that the cost grew with since the sample before: 1 is linear, 0 doesn't grow.
double Exponent(const Sample& before, const Sample& now) {
  return std::log(now.cpuMicros / before.cpuMicros) /
         std::log(static_cast<double>(now.count) / static_cast<double>(before.count));
}

void Print(const Series& series) {
  for (std::size_t i = 0; i < series.samples.size(); ++i) {
    const auto& sample = series.samples[i];
    const auto reached = series.reached == 0 ? sample.count : series.reached;
    std::printf("| %s | %zu | %.1f | %.1f | ", i == 0 ? series.name : "", sample.count, sample.cpuMicros,
                sample.cpuMicros / static_cast<double>(reached));
    if (i != 0) std::printf("%.2f", Exponent(series.samples[i - 1], sample));
    std::printf(" | %.0f |\n", sample.lost);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  Choice choice;
  std::string svg;
  Tools::CommandLine line("growth",
                          "Measures what a publication costs the daemon as the number of others grows.");
  auto& top = line.Top();
  top.Value("daemon", choice.daemonProgram, "The daemon's program").Required().ExistingFile();
  top.Value("--repetitions", choice.repetitions, "Runs of each").Within(1U, 1000U).ShowDefault();
  top.Value("--seconds", choice.seconds, "Length of a run").Within(0.1, 3600.0).ShowDefault();
  top.Value("--svg", svg, "File for a picture");
  if (const auto status = line.Parse(argc, argv)) return *status;
  Bench::RaiseDescriptorLimit();
  auto picture = Bench::OpenPicture(svg);
  const auto all = MeasureAll(choice);
  std::printf("| what grows | how many | CPU us a publication | a delivery | exponent | lost |\n");
  std::printf("| --- | --- | --- | --- | --- | --- |\n");
  for (const auto& series : all) Print(series);
  picture << Draw(all);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "growth: %s\n", error.what());
  return 1;
}
