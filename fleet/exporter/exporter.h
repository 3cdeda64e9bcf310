#pragma once

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "fleet/exporter/eventStreams.h"
#include "fleet/exporter/hostStream.h"
#include "fleet/exporter/httpServer.h"
#include "fleet/exporter/listenAddress.h"
#include "fleet/exporter/routes.h"
#include "fleet/exporter/tokenCheck.h"
#include "fleet/exporter/vmTable.h"
#include "fleet/metrics/metricStore.h"
#include "platform/corvane/log.h"

namespace Fleet {

struct ExporterSettings {
  Caller caller;
  std::string vmIdType = "mgr";
  std::string listen = "127.0.0.1:9940";
  std::vector<std::string> hosts;  // further names for the Host header
  unsigned maxAge = 660;           // seconds
  unsigned series = 1000;          // of one VM
};

// The whole of it. It follows the host's publications and serves from its construction on.
class Exporter final {
 public:
  Exporter(const ExporterSettings& settings, const ListenAddress& address, Corvane::Service::Logger* log);

  unsigned Port() const { return server_.Port(); }
  // To be called each second.
  void Tick(std::chrono::steady_clock::time_point now);

 private:
  void Take(const Element& element);

  VmTable vms_;
  EventStreams events_;
  MetricStore metrics_;
  HostStream stream_;
  TokenCheck tokens_;
  Routes routes_;
  HttpServer server_;
  std::jthread follower_;
};

}  // namespace Fleet
