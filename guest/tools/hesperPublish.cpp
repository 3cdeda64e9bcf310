// hesper-publish: publishes from a VM, and can answer requests for history.

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <stdexcept>

#include "guest/lib/hesperguest.h"
#include "guest/link/stopSignals.h"
#include "guest/link/wayOptions.h"
#include "guest/tools/historyServer.h"
#include "lib/public/api/guestLimits.h"
#include "tools/arguments.h"

namespace {

constexpr int kRefused = 1;
constexpr int kNoAnswer = 2;
constexpr int kDataError = 65;
constexpr int kSystemError = 71;
constexpr unsigned kMostPort = 0xFFFFFFFEU;

struct Options {
  GuestLink::LinkOptions ports;
  std::string payloadFile;
  bool raw = false;
  bool serveHistory = false;
  bool lines = false;
  double timeout = 5;
  std::uint64_t sequence = 1;
  GuestLink::Publication publication;
};

class DataError final : public std::runtime_error {
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
  GuestLink::Publication publication = options.publication;
  publication.payload = ReadPayload(options);
  if (publication.createTime.empty()) publication.createTime = GuestLink::CurrentTime();
  std::string text = GuestLink::PublicationText(publication, options.sequence);
  if (text.size() > NornHesper::kLargestDatagram) {
    throw DataError("the publication's text has " + std::to_string(text.size()) + " bytes, the largest is " +
                    std::to_string(NornHesper::kLargestDatagram));
  }
  return text;
}

std::chrono::milliseconds Timeout(const Options& options) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(options.timeout * 1000));
}

int PublishOnce(const Options& options, GuestLink::Way& way) {
  const std::string text = DatagramText(options);
  const auto channel = way.OpenPublications(options.ports);
  const auto deadline = std::chrono::steady_clock::now() + Timeout(options);
  if (!channel->Send(text)) {
    std::fputs("hesper-publish: no answer: nobody listens on the host's port\n", stderr);
    return kNoAnswer;
  }
  for (;;) {
    const auto left = deadline - std::chrono::steady_clock::now();
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(left);
    const auto answer = channel->Receive(std::max(wait, std::chrono::milliseconds(0)));
    if (!answer) {
      if (wait.count() > 0 && channel->Descriptor() >= 0) continue;
      if (channel->Descriptor() < 0) {
        std::fputs("hesper-publish: no answer: the host has closed the connection\n", stderr);
      } else {
        std::fprintf(stderr, "hesper-publish: no answer in %g seconds\n", options.timeout);
      }
      return kNoAnswer;
    }
    std::fwrite(answer->data(), 1, answer->size(), stdout);
    if (std::fflush(stdout) != 0) throw std::system_error(errno, std::generic_category(), "standard output");
    hesper_acknowledgement acknowledgement;
    const int error = hesper_read_acknowledgement(answer->data(), answer->size(), &acknowledgement);
    return error == 0 && acknowledgement.accepted != 0 ? 0 : kRefused;
  }
}

int ServeHistory(const Options& options, GuestLink::Way& way) {
  // Read before signals are blocked: until there is something to publish, a signal simply ends the program.
  const std::optional<std::string> payload =
      options.lines ? std::nullopt : std::optional<std::string>(ReadPayload(options));
  GuestLink::BlockStopSignals();
  GuestTools::HistoryServer server({Timeout(options), options.sequence, options.publication},
                                   way.OpenPublications(options.ports), way.OpenRequests(options.ports));
  if (!payload) return server.Run(STDIN_FILENO);
  server.Publish(*payload);
  return server.Run(-1);
}

// Gives the option without which only --raw will do.
Tools::Option AddOptions(Tools::Command& command, Options& options) {
  const auto raw = command.Flag("--raw", options.raw, "send standard input as it is, as one datagram");
  command.Value("--from-port", options.ports.own, "the guest's own port (default: any free one)")
      .Within(0U, kMostPort);
  command.Value("--port", options.ports.host, "the daemon's vsock port").Within(0U, kMostPort).ShowDefault();
  const auto topic =
      command.Value("--topic", options.publication.topic, "dotted topic of the publication").Excludes(raw);
  const auto payloadFile =
      command
          .Value("--payload-file", options.payloadFile, "a file with the payload (default: standard input)")
          .ExistingFile()
          .Excludes(raw);
  command.Value("--timeout", options.timeout, "seconds to wait for the acknowledgement")
      .Within(0.0, 86400.0)
      .ShowDefault();
  command.Value("--sequence", options.sequence, "the first publication's sequence number")
      .ShowDefault()
      .Excludes(raw);
  command.Value("--token", options.publication.token, "passed on to subscribers").Excludes(raw);
  command.Value("--category", options.publication.category, "category of the payload")
      .ShowDefault()
      .Excludes(raw);
  command.Value("--create-time", options.publication.createTime, "RFC 3339 date-time (default: now)")
      .Excludes(raw);
  const auto serve = command
                         .Flag("--serve-history", options.serveHistory,
                               "stay, keep what was published, and answer requests for history")
                         .Excludes(raw);
  command.Flag("--lines", options.lines, "each line of standard input is the payload of one more publication")
      .Needs(serve)
      .Excludes(payloadFile);
  command.Value("--history-port", options.ports.history, "the guest's port for requests for history")
      .Within(0U, kMostPort)
      .ShowDefault()
      .Needs(serve);
  return topic;
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  options.publication.category = "data";
  Tools::CommandLine commandLine("hesper-publish", "Publishes data from the VM that it runs in.");
  GuestLink::WayOptions wayOptions(commandLine.Top());
  const auto topic = AddOptions(commandLine.Top(), options);
  commandLine.Top().OnParsed([&] {
    if (!options.raw && !topic.IsGiven()) throw Tools::UsageFault("--topic or --raw is required");
  });
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  const auto way = wayOptions.Choose();
  return options.serveHistory ? ServeHistory(options, *way) : PublishOnce(options, *way);
} catch (const DataError& error) {
  std::fprintf(stderr, "hesper-publish: %s\n", error.what());
  return kDataError;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-publish: %s\n", error.what());
  return kSystemError;
}
