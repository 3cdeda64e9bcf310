// hesper-publish: publishes from a VM of the host, and can answer requests for history.

#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/host.h"
#include "tools/historyServer.h"

namespace {

constexpr int kRefused = 1;
constexpr int kNoAnswer = 2;
constexpr int kUsageError = 64;
constexpr int kDataError = 65;
constexpr int kSystemError = 71;

struct Options {
  std::uint32_t cid = 0;
  std::uint32_t fromPort = Krell::kAnyPort;
  std::uint32_t port = 7777;
  std::uint32_t historyPort = 766;
  std::string payloadFile;
  bool raw = false;
  bool serveHistory = false;
  bool lines = false;
  double timeout = 5;
  std::uint64_t sequence = 1;
  Tools::Publication publication;
};

class DataError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

std::string ReadAll(std::istream& stream) {
  return {std::istreambuf_iterator<char>(stream), {}};
}

std::string ReadPayload(const Options& options) {
  if (options.payloadFile.empty()) return ReadAll(std::cin);
  std::ifstream file(options.payloadFile, std::ios::binary);
  std::string payload = ReadAll(file);
  if (!file.is_open() || file.bad()) throw DataError("cannot read " + options.payloadFile);
  return payload;
}

std::string DatagramText(const Options& options) {
  if (options.raw) return ReadAll(std::cin);
  Tools::Publication publication = options.publication;
  publication.payload = ReadPayload(options);
  if (publication.createTime.empty()) publication.createTime = Tools::CurrentTime();
  std::string text = Tools::PublicationText(publication, options.sequence);
  if (text.size() > NornHesper::kLargestDatagram) {
    throw DataError("the publication's text has " + std::to_string(text.size()) + " bytes, the largest is " +
                    std::to_string(NornHesper::kLargestDatagram));
  }
  return text;
}

std::chrono::milliseconds Timeout(const Options& options) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(options.timeout * 1000));
}

int PublishOnce(const Options& options) {
  const std::string text = DatagramText(options);
  Krell::GuestSocket guest(options.cid, options.fromPort);
  const auto deadline = std::chrono::steady_clock::now() + Timeout(options);
  guest.Send(options.port, text);
  for (;;) {
    const auto left = deadline - std::chrono::steady_clock::now();
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(left);
    const auto answer = guest.Receive(std::max(wait, std::chrono::milliseconds(0)));
    if (!answer) {
      if (wait.count() > 0) continue;
      std::fprintf(stderr, "hesper-publish: no answer in %g seconds\n", options.timeout);
      return kNoAnswer;
    }
    if (answer->cid != Krell::kHostCid || answer->port != options.port) continue;
    std::fwrite(answer->text.data(), 1, answer->text.size(), stdout);
    if (std::fflush(stdout) != 0) throw std::system_error(errno, std::generic_category(), "standard output");
    const auto acknowledgement = Tools::ReadAcknowledgement(answer->text);
    return acknowledgement && acknowledgement->accepted ? 0 : kRefused;
  }
}

int ServeHistory(const Options& options) {
  // Read before signals are blocked: until there is something to publish, a signal simply ends the program.
  const std::optional<std::string> payload =
      options.lines ? std::nullopt : std::optional<std::string>(ReadPayload(options));
  // Blocked before anything waits, so that a signal that comes at once is not lost.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  Tools::HistoryServer server({options.port, Timeout(options), options.sequence, options.publication},
                              Krell::GuestSocket(options.cid, options.fromPort),
                              Krell::GuestSocket(options.cid, options.historyPort));
  if (!payload) return server.Run(STDIN_FILENO);
  server.Publish(*payload);
  return server.Run(-1);
}

void AddOptions(CLI::App& app, Options& options) {
  auto* raw = app.add_flag("--raw", options.raw, "send standard input as it is, as one datagram");
  const auto port = CLI::Range(std::uint32_t{0}, Krell::kAnyPort - 1);
  app.add_option("--cid", options.cid, "the VM to publish from")->required();
  app.add_option("--from-port", options.fromPort, "the guest's own port (default: any free one)")
      ->check(port);
  app.add_option("--port", options.port, "the daemon's vsock port")->check(port)->capture_default_str();
  auto* topic = app.add_option("--topic", options.publication.topic, "dotted topic of the publication");
  topic->excludes(raw);
  app.add_option("--payload-file", options.payloadFile, "a file with the payload (default: standard input)")
      ->check(CLI::ExistingFile)
      ->excludes(raw);
  app.add_option("--timeout", options.timeout, "seconds to wait for the acknowledgement")
      ->check(CLI::Range(0.0, 86400.0))
      ->capture_default_str();
  app.add_option("--sequence", options.sequence, "the first publication's sequence number")
      ->capture_default_str()
      ->excludes(raw);
  app.add_option("--token", options.publication.token, "passed on to subscribers")->excludes(raw);
  app.add_option("--category", options.publication.category, "category of the payload")
      ->capture_default_str()
      ->excludes(raw);
  app.add_option("--create-time", options.publication.createTime, "RFC 3339 date-time (default: now)")
      ->excludes(raw);
  auto* serve = app.add_flag("--serve-history", options.serveHistory,
                             "stay, keep what was published, and answer requests for history");
  serve->excludes(raw);
  app.add_flag("--lines", options.lines, "each line of standard input is the payload of one more publication")
      ->needs(serve)
      ->excludes("--payload-file");
  app.add_option("--history-port", options.historyPort, "the guest's port for requests for history")
      ->check(port)
      ->capture_default_str()
      ->needs(serve);
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  options.publication.category = "data";
  CLI::App app("Publishes data from a VM of the host that KRELL_HOST_DIR names.", "hesper-publish");
  AddOptions(app, options);
  try {
    app.parse(argc, argv);
    if (!options.raw && app.count("--topic") == 0) throw CLI::RequiredError("--topic or --raw");
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& fault) {
    std::fprintf(stderr, "hesper-publish: %s\n", fault.what());
    return kUsageError;
  }
  const Krell::Host host = Krell::Host::FromEnvironment();
  if (!host.FindByCid(options.cid)) {
    throw Krell::HostError("no VM with cid " + std::to_string(options.cid) + " runs on " + host.Directory());
  }
  return options.serveHistory ? ServeHistory(options) : PublishOnce(options);
} catch (const DataError& error) {
  std::fprintf(stderr, "hesper-publish: %s\n", error.what());
  return kDataError;
} catch (const std::system_error& error) {
  if (error.code().value() == ECONNRESET) {
    std::fprintf(stderr, "hesper-publish: no answer: nobody listens on the host's port\n");
    return kNoAnswer;
  }
  std::fprintf(stderr, "hesper-publish: %s\n", error.what());
  return kSystemError;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-publish: %s\n", error.what());
  return kSystemError;
}
