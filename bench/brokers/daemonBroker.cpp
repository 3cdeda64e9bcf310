#include "bench/brokers/daemonBroker.h"

#include "bench/measure.h"

namespace Brokers {

DaemonBroker::DaemonBroker(const Stage& stage) : guests_(stage.guests), daemon_(stage.daemonProgram) {
  Bench::Introduce(guests_, daemon_);
}

}  // namespace Brokers
