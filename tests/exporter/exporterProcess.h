#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "testing/childProcess.h"
#include "testing/subscriber.h"

namespace Testing {

struct HttpAnswer {
  unsigned status = 0;
  std::string head;
  std::string body;

  // The header's value; empty if there is none.
  std::string Header(const std::string& name) const;
};

// One request on a connection of its own. The headers are whole lines.
std::string HttpRequest(std::string_view method, std::string_view path, std::string_view headers = "",
                        std::string_view body = "");
HttpAnswer ReadAnswer(Connection& connection);

// hesper-exporter as a process, following the daemon at that port. Ended by force with the object.
class ExporterProcess {
 public:
  explicit ExporterProcess(std::uint16_t daemonPort, const std::vector<std::string>& options = {});

  std::uint16_t port() const { return port_; }
  ChildProcess& process() { return process_; }
  void WaitForStream(std::size_t times = 1) const;

  // As itself would be called: Host and Origin are the exporter's own.
  HttpAnswer Get(std::string_view path, std::string_view headers = "") const;
  HttpAnswer Post(std::string_view path, std::string_view body, std::string_view headers = "") const;
  HttpAnswer TryLogin(std::string_view token) const;
  // Gives the header line with the session's cookie.
  std::string Login() const;
  HttpAnswer Metrics(std::string_view headers = "") const;

  std::string Host() const;

 private:
  ChildProcess process_;
  std::uint16_t port_ = 0;
};

// A token that this host's daemons take.
std::string GoodToken();
// A Prometheus' page that is there within seconds and has that line.
bool HasLine(std::string_view page, std::string_view line);

// A viewer of events.
class EventReader {
 public:
  EventReader(const ExporterProcess& exporter, std::string_view cookie, std::string_view query = "");

  const std::string& head() const { return head_; }
  // The next event, without comments.
  std::string Next();
  Connection& connection() { return connection_; }

 private:
  Connection connection_;
  std::string head_;
};

}  // namespace Testing
