#include <cstdio>

#include "guest/agent/metrics/nodeMetrics.h"

// The text that the guest agent publishes of a VM whose folders of the kernel are PROC and SYS: what the test
// with a real Prometheus takes for its guests. usage: agent-metrics PROC SYS
int main(int argc, char** argv) {
  if (argc != 3) return 64;
  GuestAgent::NodeMetrics metrics({.proc = argv[1], .sys = argv[2], .bus = "/nonexistent"});
  std::fputs(metrics.Text().c_str(), stdout);
}
