#include "fleet/subscribe/options.h"

#include <stdexcept>

#include "fleet/nats/clientOptions.h"
#include "fleet/nats/subject.h"
#include "fleet/stream/callerOptions.h"
#include "fleet/stream/duration.h"
#include "tools/arguments.h"

namespace Fleet {
namespace {

// As they are written.
struct Texts {
  std::string format = "json";
  std::string since;
  std::optional<std::int64_t> past;
};

void AddWantedOptions(Tools::Command& command, SubscribeOptions& options, Texts& texts) {
  command.Value("--vm", options.wanted.vms, "a VM to take publications from (repeat for more; default all)")
      .Repeatable();
  command.Value("--topic", options.wanted.topics, "a topic prefix to take (repeat for more; default all)")
      .Repeatable();
  const auto since = command.Value("--since", texts.since,
                                   "take also what was published in that time, such as 90s, 10m, 2h or 1d");
  command.Value("--past", texts.past, "ask the guests for their publications of that many seconds")
      .Excludes(since);
}

void AddFleetOptions(Tools::Command& command, SubscribeOptions& options, const Tools::Option& token) {
  auto fleet = command.Value("--fleet", options.nats.servers,
                             "read a fleet's stream from that NATS server (repeat for a cluster)");
  fleet.Repeatable().Excludes(token);
  const auto needsFleet = [&](Tools::Option option) { return option.Needs(fleet); };
  needsFleet(command.Value("--prefix", options.prefix, "the first word of the subjects")).ShowDefault();
  needsFleet(command.Value("--stream", options.stream, "the stream's name")).ShowDefault();
  needsFleet(command.Value("--host", options.hosts, "a host to read of (repeat for more; default all)"))
      .Repeatable();
  for (const auto& option : AddClientOptions(command, options.nats)) needsFleet(option);
}

void AddOptions(Tools::Command& command, SubscribeOptions& options, Texts& texts) {
  const auto token = AddCallerOptions(command, options.caller, options.wanted.vmIdType);
  AddWantedOptions(command, options, texts);
  command.Value("--count", options.count, "end after that many publications (default: never)");
  command.Flag("--follow", options.follow,
               "subscribe again after each interruption, and ask for what came between");
  command.Value("--format", texts.format, "one line of JSON for each, or of text for people")
      .OneOf({"json", "text"})
      .ShowDefault();
  AddFleetOptions(command, options, token);
}

// What only the options together tell.
void Check(SubscribeOptions& options, const Texts& texts) {
  options.text = texts.format == "text";
  if (!texts.since.empty()) {
    options.since = ReadDuration(texts.since);
    if (!options.since) throw Tools::UsageFault("--since has to be a duration such as 90s, 10m, 2h or 1d");
  }
  options.wanted.pastSeconds = options.since ? options.since->count() : texts.past.value_or(0);
  if (options.nats.servers.empty()) return;
  if (texts.past || options.follow || !options.caller.user.empty()) {
    throw Tools::UsageFault("--fleet goes on by itself, and takes neither --follow, --past nor --user");
  }
  try {
    CheckPrefix(options.prefix);
  } catch (const std::invalid_argument& fault) {
    throw Tools::UsageFault(std::string("--prefix: ") + fault.what());
  }
}

}  // namespace

std::optional<int> ReadSubscribeOptions(int argc, char** argv, SubscribeOptions& options) {
  Texts texts;
  Tools::CommandLine commandLine("hesper-subscribe",
                                 "Prints each publication of the host's VMs on one line.");
  AddOptions(commandLine.Top(), options, texts);
  commandLine.Top().OnParsed([&] { Check(options, texts); });
  return commandLine.Parse(argc, argv);
}

}  // namespace Fleet
