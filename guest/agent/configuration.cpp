#include "guest/agent/configuration.h"

#include <fstream>

#include "guest/agent/intake/topic.h"
#include "guest/agent/tomlTable.h"
#include "guest/agent/tomlText.h"
#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

constexpr std::int64_t kMostPort = 0xFFFFFFFE;
constexpr std::int64_t kDay = 86400;
// Of a configuration file. What is longer is none.
constexpr std::size_t kLongestFile = 1 << 20;

void TakeStore(TomlTable& table, Configuration& configuration) {
  table.Take("path", configuration.storePath);
  table.TakeNumber("age_seconds", 1, 30 * kDay,
                   [&](std::int64_t number) { configuration.bounds.age = std::chrono::seconds(number); });
  table.TakeNumber("mebibytes", 1, 4096, [&](std::int64_t number) {
    configuration.bounds.bytes = static_cast<std::uint64_t>(number) << 20;
  });
}

void TakeSender(TomlTable& table, Allowance::Rates& rates) {
  const auto into = [](double& rate, double factor) {
    return [&rate, factor](std::int64_t number) { rate = static_cast<double>(number) * factor; };
  };
  table.TakeNumber("items_per_second", 1, 1000000, into(rates.itemsPerSecond, 1));
  table.TakeNumber("burst_items", 1, 1000000, into(rates.burstItems, 1));
  table.TakeNumber("kilobytes_per_second", 1, 1000000, into(rates.bytesPerSecond, 1024));
  // One of the longest has to fit.
  table.TakeNumber("burst_kilobytes", 128, 1000000, into(rates.burstBytes, 1024));
}

void TakeHost(TomlTable& table, Configuration& configuration) {
  std::string transport = "auto";
  table.Take("transport", transport);
  if (transport != "auto" && transport != "vsock" && transport != "serial") {
    table.Fail("host.transport has to be auto, vsock or serial");
  }
  configuration.transport = transport == "auto" ? "" : transport;
  table.TakeNumber("port", 1, kMostPort, [&](std::int64_t number) {
    configuration.link.host = static_cast<std::uint32_t>(number);
  });
  table.TakeNumber("history_port", 1, kMostPort, [&](std::int64_t number) {
    configuration.link.history = static_cast<std::uint32_t>(number);
  });
}

void TakeMetrics(TomlTable& table, Configuration& configuration) {
  table.Take("node", configuration.nodeMetrics);
  table.TakeNumber("seconds", 1, kDay, [&](std::int64_t number) {
    configuration.metricsInterval = std::chrono::seconds(number);
  });
  table.Take("textfile_folder", configuration.textFolder);
}

Rule TakeRule(TomlTable& table) {
  Rule rule;
  table.TakeName("user", rule.user);
  table.TakeName("group", rule.group);
  table.Take("topics", rule.topics);
  if (rule.user.empty() == rule.group.empty()) table.Fail("a rule has to have one of user and group");
  if (rule.topics.empty()) table.Fail("a rule has to have topics");
  for (const auto& topic : rule.topics) {
    if (topic != "*" && !IsTopic(topic)) {
      table.Fail("no topic can be under " + Corvane::Detail::EscapeName(topic));
    }
  }
  return rule;
}

Configuration TakeAll(TomlTable& top) {
  Configuration configuration;
  top.TakeTable("socket", [&](TomlTable& table) { table.Take("path", configuration.socketPath); });
  top.TakeTable("store", [&](TomlTable& table) { TakeStore(table, configuration); });
  top.TakeTable("queue", [&](TomlTable& table) {
    table.TakeNumber("items", 16, 100000, [&](std::int64_t number) {
      configuration.waitingItems = static_cast<std::size_t>(number);
    });
  });
  top.TakeTable("sender", [&](TomlTable& table) { TakeSender(table, configuration.rates); });
  top.TakeTable("host", [&](TomlTable& table) { TakeHost(table, configuration); });
  top.TakeTable("metrics", [&](TomlTable& table) { TakeMetrics(table, configuration); });
  top.TakeTable("stats", [&](TomlTable& table) {
    table.TakeNumber("seconds", 1, kDay, [&](std::int64_t number) {
      configuration.statsInterval = std::chrono::seconds(number);
    });
  });
  std::vector<Rule> rules;
  if (top.TakeTables("allow", [&](TomlTable& table) { rules.push_back(TakeRule(table)); })) {
    configuration.rules = std::move(rules);
  }
  top.RefuseOthers();
  return configuration;
}

}  // namespace

Configuration ReadConfiguration(std::string_view text, const std::string& name) {
  const auto parsed = ParseToml(text, name);
  TomlTable top(parsed, name, "");
  return TakeAll(top);
}

Configuration LoadConfiguration(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string text(kLongestFile + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (!file.is_open() || file.bad()) throw ConfigurationFault("cannot read " + path);
  if (text.size() > kLongestFile) throw ConfigurationFault(path + " is too long");
  return ReadConfiguration(text, path);
}

}  // namespace GuestAgent
