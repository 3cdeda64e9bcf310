#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <semaphore>
#include <string>

#include "fleet/exporter/bounds.h"
#include "fleet/exporter/eventStreams.h"
#include "fleet/exporter/hostStream.h"
#include "fleet/exporter/originGuard.h"
#include "fleet/exporter/request.h"
#include "fleet/exporter/sessions.h"
#include "fleet/exporter/tokenCheck.h"
#include "fleet/exporter/tryLimit.h"
#include "fleet/exporter/vmTable.h"
#include "fleet/metrics/metricStore.h"

namespace Fleet {

// What the exporter has learned of the host.
struct HostView {
  VmTable& vms;
  EventStreams& events;
  MetricStore& metrics;
  const HostStream& stream;
};

// The exporter's HTTP interface: who may see what, and in which form.
class Routes final {
 public:
  Routes(HostView host, TokenCheck& tokens, OriginGuard guard);

  // Answers at once, or when the daemon has said what it thinks of the caller's token.
  void Handle(const Request& request, const Reply& reply);
  // Asks again about the tokens of sessions. To be called each second.
  void Tick(std::chrono::steady_clock::time_point now);

 private:
  using Time = std::chrono::steady_clock::time_point;
  struct Pages;

  void Route(const Request& request, const Reply& reply);
  void Metrics(const Request& request, const Reply& reply);
  void Login(const Request& request, const Reply& reply);
  void Logout(const Request& request, const Reply& reply);
  void Overview(const Request& request, const Reply& reply);
  void Events(const Request& request, const Reply& reply);

  // Asks about a token that a stranger may have made up; answers by itself if there were too many of those.
  void Try(const Corvane::WipedString& token, const Request& request, const Reply& reply,
           const TokenCheck::Done& done);
  // The session's secret and token; answers by itself if there is none.
  std::optional<std::pair<SecretHash, Corvane::WipedString>> SessionOf(const Request& request,
                                                                       const Reply& reply);
  Answer MetricsAnswer(const Checked& checked, MetricForm form);
  std::string OverviewText(const Checked& checked) const;

  const HostView host_;
  TokenCheck& tokens_;
  const OriginGuard guard_;
  Sessions sessions_;
  TryLimit tries_;
  const std::shared_ptr<Pages> pages_;
};

}  // namespace Fleet
