#include "fleet/forward/options.h"

#include <limits.h>
#include <unistd.h>

#include <stdexcept>

#include "fleet/nats/clientOptions.h"
#include "fleet/nats/subject.h"
#include "fleet/stream/callerOptions.h"
#include "fleet/stream/duration.h"
#include "tools/arguments.h"

namespace Fleet {
namespace {

// Of a host's name, which is a part of each subject.
constexpr std::size_t kLongestHost = HOST_NAME_MAX;

struct DurationTexts {
  std::string mostGap = "1h";
  std::string keep = "24h";
  std::string duplicates = "2h";
};

std::string NameOfThisHost() {
  char name[HOST_NAME_MAX + 1] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

std::chrono::seconds Duration(const char* option, const std::string& text) {
  const auto duration = ReadDuration(text);
  if (!duration || duration->count() == 0) {
    throw Tools::UsageFault(std::string(option) + " has to be a duration such as 90s, 10m, 2h or 1d");
  }
  return *duration;
}

void Check(ForwardOptions& options, const DurationTexts& durations) {
  options.mostGap = Duration("--most-gap", durations.mostGap);
  options.stream.keep = Duration("--keep", durations.keep);
  options.stream.duplicates = Duration("--duplicates", durations.duplicates);
  try {
    CheckPrefix(options.prefix);
  } catch (const std::invalid_argument& fault) {
    throw Tools::UsageFault(std::string("--prefix: ") + fault.what());
  }
  if (options.host.empty() || options.host.size() > kLongestHost) {
    throw Tools::UsageFault("--host has to be a name of 1 to 64 bytes");
  }
  if (!options.makeStream && options.caller.tokenFile.empty() && options.caller.user.empty()) {
    throw Tools::UsageFault("--token-file, or --user and --password-file are required");
  }
}

void AddDaemonOptions(Tools::Command& command, ForwardOptions& options) {
  AddCallerOptions(command, options.caller, options.wanted.vmIdType);
  command.Value("--topic", options.wanted.topics, "forward this topic and those below it alone").Repeatable();
  command.Value("--past", options.wanted.pastSeconds, "seconds of history that the first start asks for")
      .Within(std::int64_t{0}, std::int64_t{kLongestDuration.count()})
      .ShowDefault();
}

void AddNatsOptions(Tools::Command& command, ForwardOptions& options) {
  command.Value("--nats", options.nats.servers, "URL of a NATS server (default: nats://127.0.0.1:4222)")
      .Repeatable();
  AddClientOptions(command, options.nats);
  command.Value("--prefix", options.prefix, "first part of the subjects").ShowDefault();
}

void AddStreamOptions(Tools::Command& command, ForwardOptions& options, DurationTexts& durations) {
  const auto make = command.Flag("--make-stream", options.makeStream, "make or change the stream, and end");
  command.Value("--stream", options.stream.name, "its name").ShowDefault().Needs(make);
  command.Value("--replicas", options.stream.replicas, "servers that have it")
      .Within(std::int64_t{1}, std::int64_t{5})
      .ShowDefault()
      .Needs(make);
  command.Value("--keep", durations.keep, "how long it keeps a publication").ShowDefault().Needs(make);
  command
      .Value("--keep-bytes", options.stream.keepBytes,
             "how many bytes it keeps (default: what the servers have)")
      .Within(std::int64_t{1}, std::int64_t{1} << 50)
      .Needs(make);
  command.Value("--duplicates", durations.duplicates, "how long it knows what it has")
      .ShowDefault()
      .Needs(make);
}

}  // namespace

std::optional<int> ReadForwardOptions(int argc, char** argv, ForwardOptions& options) {
  DurationTexts durations;
  options.host = NameOfThisHost();
  Tools::CommandLine commandLine("hesper-forward",
                                 "Forwards the publications of this host's VMs to NATS JetStream.");
  auto& command = commandLine.Top();
  AddDaemonOptions(command, options);
  AddNatsOptions(command, options);
  command.Value("--host", options.host, "name of this host in the subjects").ShowDefault();
  command.Value("--state", options.stateFile, "file that keeps until when everything is stored")
      .ShowDefault();
  command.Value("--most-gap", durations.mostGap, "how far back guests are asked at most").ShowDefault();
  AddStreamOptions(command, options, durations);
  command.OnParsed([&] { Check(options, durations); });
  return commandLine.Parse(argc, argv);
}

}  // namespace Fleet
