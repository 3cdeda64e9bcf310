#include "tests/exporter/exporterProcess.h"

#include <sys/stat.h>

#include <fstream>
#include <stdexcept>

#include "testing/daemon.h"
#include "testing/processFolder.h"

namespace Testing {
namespace {

std::vector<std::string> ExporterCommand(std::uint16_t daemonPort, const std::vector<std::string>& options) {
  static const std::string tokenFile = [] {
    auto path = ProcessFolder() + "/token";
    std::ofstream(path) << GoodToken() << '\n';
    return path;
  }();
  std::vector<std::string> command = {HESPER_EXPORTER_PROGRAM,
                                      "--port",
                                      std::to_string(daemonPort),
                                      "--token-file",
                                      tokenFile,
                                      "--listen",
                                      "127.0.0.1:0"};
  command.insert(command.end(), options.begin(), options.end());
  return command;
}

std::uint16_t PortIn(const std::string& log) {
  constexpr std::string_view kBefore = "serves at http://127.0.0.1:";
  return static_cast<std::uint16_t>(std::stoul(log.substr(log.find(kBefore) + kBefore.size())));
}

}  // namespace

std::string HttpAnswer::Header(const std::string& name) const {
  const auto line = head.find("\r\n" + name + ": ");
  if (line == std::string::npos) return {};
  const auto begin = line + name.size() + 4;
  return head.substr(begin, head.find("\r\n", begin) - begin);
}

std::string HttpRequest(std::string_view method, std::string_view path, std::string_view headers,
                        std::string_view body) {
  std::string text(method);
  text.append(" ").append(path).append(" HTTP/1.1\r\nConnection: close\r\n").append(headers);
  if (!body.empty()) text.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n");
  return text.append("\r\n").append(body);
}

HttpAnswer ReadAnswer(Connection& connection) {
  HttpAnswer answer;
  answer.head = connection.ReceiveThrough("\r\n\r\n");
  answer.status = static_cast<unsigned>(std::stoul(answer.head.substr(answer.head.find(' '))));
  answer.body = connection.ReceiveAll();
  return answer;
}

ExporterProcess::ExporterProcess(std::uint16_t daemonPort, const std::vector<std::string>& options)
    : process_(ExporterCommand(daemonPort, options)) {
  if (!process_.WaitForLog("serves at")) throw std::runtime_error("no exporter:\n" + process_.Log());
  port_ = PortIn(process_.Log());
}

void ExporterProcess::WaitForStream(std::size_t times) const {
  if (process_.WaitForLog("publications is open", times)) return;
  throw std::runtime_error("no stream:\n" + process_.Log());
}

std::string ExporterProcess::Host() const {
  return "127.0.0.1:" + std::to_string(port_);
}

HttpAnswer ExporterProcess::Get(std::string_view path, std::string_view headers) const {
  Connection connection(port_);
  connection.Send(HttpRequest("GET", path, "Host: " + Host() + "\r\n" + std::string(headers)));
  return ReadAnswer(connection);
}

HttpAnswer ExporterProcess::Post(std::string_view path, std::string_view body,
                                 std::string_view headers) const {
  Connection connection(port_);
  connection.Send(HttpRequest("POST", path,
                              "Host: " + Host() + "\r\nOrigin: http://" + Host() +
                                  "\r\nContent-Type: application/json\r\n" + std::string(headers),
                              body));
  return ReadAnswer(connection);
}

HttpAnswer ExporterProcess::TryLogin(std::string_view token) const {
  return Post("/login", R"({"token":")" + std::string(token) + R"("})");
}

std::string ExporterProcess::Login() const {
  const auto answer = TryLogin(GoodToken());
  if (answer.status != 204) throw std::runtime_error("no login: " + answer.head);
  const auto cookie = answer.Header("Set-Cookie");
  return "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
}

HttpAnswer ExporterProcess::Metrics(std::string_view headers) const {
  return Get("/metrics", Authorized() + std::string(headers));
}

std::string GoodToken() {
  constexpr std::string_view kBefore = "Authorization: Bearer ";
  const auto& line = Authorized();
  return line.substr(kBefore.size(), line.find("\r\n") - kBefore.size());
}

bool HasLine(std::string_view page, std::string_view line) {
  return page.starts_with(std::string(line) + "\n") ||
         page.find("\n" + std::string(line) + "\n") != std::string_view::npos;
}

EventReader::EventReader(const ExporterProcess& exporter, std::string_view cookie, std::string_view query)
    : connection_(exporter.port()) {
  // In HTTP/1.0 the events come without chunks around them.
  connection_.Send("GET /api/events" + std::string(query) + " HTTP/1.0\r\nHost: " + exporter.Host() + "\r\n" +
                   std::string(cookie) + "\r\n");
  head_ = connection_.ReceiveThrough("\r\n\r\n");
}

std::string EventReader::Next() {
  while (true) {
    auto event = connection_.ReceiveThrough("\n\n");
    if (!event.starts_with(':')) return event;
  }
}

}  // namespace Testing
