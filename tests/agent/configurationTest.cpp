#include "guest/agent/configuration.h"

#include <gtest/gtest.h>

#include <sstream>

#include "testing/temporaryFolder.h"

namespace {

using namespace GuestAgent;

std::string FaultIn(const std::string& text) {
  try {
    ReadConfiguration(text, "guestd.toml");
  } catch (const ConfigurationFault& fault) {
    return fault.what();
  }
  return "";
}

TEST(ConfigurationTest, EachKeyIsRead) {
  const auto configuration = ReadConfiguration(R"(
[socket]
path = "/s"
[store]
path = "/d"
age_seconds = 60
mebibytes = 2
[queue]
items = 50
[sender]
items_per_second = 3
burst_items = 4
kilobytes_per_second = 5
burst_kilobytes = 200
[host]
transport = "serial"
port = 7
history_port = 8
[metrics]
node = false
seconds = 9
textfile_folder = "/t"
[stats]
seconds = 10
[[allow]]
user = 1000
topics = ["a", "b.c"]
[[allow]]
group = "staff"
topics = ["*"]
)",
                                               "guestd.toml");
  EXPECT_EQ(configuration.socketPath, "/s");
  EXPECT_EQ(configuration.storePath, "/d");
  EXPECT_EQ(configuration.bounds.age, std::chrono::seconds(60));
  EXPECT_EQ(configuration.bounds.bytes, 2U << 20);
  EXPECT_EQ(configuration.waitingItems, 50U);
  EXPECT_EQ(configuration.rates.itemsPerSecond, 3);
  EXPECT_EQ(configuration.rates.burstItems, 4);
  EXPECT_EQ(configuration.rates.bytesPerSecond, 5 * 1024);
  EXPECT_EQ(configuration.rates.burstBytes, 200 * 1024);
  EXPECT_EQ(configuration.transport, "serial");
  EXPECT_EQ(configuration.link.host, 7U);
  EXPECT_EQ(configuration.link.history, 8U);
  EXPECT_FALSE(configuration.nodeMetrics);
  EXPECT_EQ(configuration.metricsInterval, std::chrono::seconds(9));
  EXPECT_EQ(configuration.textFolder, "/t");
  EXPECT_EQ(configuration.statsInterval, std::chrono::seconds(10));
  ASSERT_EQ(configuration.rules.size(), 2U);
  EXPECT_EQ(configuration.rules[0].user, "1000");
  EXPECT_EQ(configuration.rules[0].topics, (std::vector<std::string>{"a", "b.c"}));
  EXPECT_EQ(configuration.rules[1].group, "staff");
}

TEST(ConfigurationTest, WhatIsWrongIsToldWithItsLine) {
  EXPECT_EQ(FaultIn("[store]\nage = 3\n"), "guestd.toml:2: there is no key store.age");
  EXPECT_EQ(FaultIn("[store]\nmebibytes = 0\n"),
            "guestd.toml:2: store.mebibytes has to be a whole number from 1 to 4096");
  EXPECT_EQ(FaultIn("\n[queue]\nitems = \"many\"\n"),
            "guestd.toml:3: queue.items has to be a whole number from 16 to 100000");
  EXPECT_EQ(FaultIn("store = 3\n"), "guestd.toml:1: store has to be a table");
  EXPECT_EQ(FaultIn("[socket]\npath = 3\n"), "guestd.toml:2: socket.path has to be a text");
  EXPECT_EQ(FaultIn("[socket]\npath = \"/a\\u0000b\"\n"), "guestd.toml:2: socket.path has a zero byte in it");
  EXPECT_EQ(FaultIn("[metrics]\nnode = 1\n"), "guestd.toml:2: metrics.node has to be true or false");
  EXPECT_EQ(FaultIn("[host]\ntransport = \"tcp\"\n"),
            "guestd.toml:1: host.transport has to be auto, vsock or serial");
  EXPECT_EQ(FaultIn("[allow]\nuser = \"a\"\n"), "guestd.toml:1: allow has to be written as [[allow]]");
  EXPECT_EQ(FaultIn("[[allow]]\ntopics = [\"a\"]\n"),
            "guestd.toml:1: a rule has to have one of user and group");
  EXPECT_EQ(FaultIn("[[allow]]\nuser = \"a\"\ngroup = \"b\"\ntopics = [\"a\"]\n"),
            "guestd.toml:1: a rule has to have one of user and group");
  EXPECT_EQ(FaultIn("[[allow]]\nuser = \"a\"\n"), "guestd.toml:1: a rule has to have topics");
  EXPECT_EQ(FaultIn("[[allow]]\nuser = \"a\"\ntopics = [\"a.\"]\n"),
            "guestd.toml:1: no topic can be under a.");
  EXPECT_EQ(FaultIn("[[allow]]\nuser = -1\ntopics = [\"a\"]\n"),
            "guestd.toml:2: allow.user has to be a whole number from 0 to 4294967294");
  EXPECT_EQ(FaultIn("[store\n").substr(0, 15), "guestd.toml:1: ");
  for (const char* text : {"\n\xc3\xbc = 1\n", "\n[socket] \xc8\xbd\n", "\nx = \"a\\\"\" \xc3\xbc\n",
                           "\nx = 'a\\' \xc3\xbc\n"}) {
    EXPECT_EQ(FaultIn(text),
              "guestd.toml:2: outside of comments, letters beyond ASCII are written as \\u00fc")
        << text;
  }
  EXPECT_EQ(FaultIn("x = \"\"\"\n"), "guestd.toml:1: a text has to end on its line");
  EXPECT_EQ(FaultIn("# \xc3\xbc\n[socket]\npath = \"/\\u00fc \\\" # \" # \xc3\xbc\n"), "");
  EXPECT_THROW(LoadConfiguration("/does/not/exist"), ConfigurationFault);
}

// The example has each key with its default behind "# ".
std::string Uncommented(const std::string& example) {
  std::string all;
  std::istringstream lines(example);
  for (std::string line; std::getline(lines, line);) {
    const auto equals = line.find(" = ");
    const bool isKey = line.starts_with("# [") ||
                       (line.starts_with("# ") && equals != std::string::npos && equals == line.find(' ', 2));
    all += (isKey ? line.substr(2) : line) + "\n";
  }
  return all;
}

TEST(ConfigurationTest, TheExampleIsTheDefaults) {
  const std::string example = Testing::ReadFile(EXAMPLE_CONFIGURATION);
  const auto uncommented = Uncommented(example);
  ASSERT_NE(uncommented, example);
  const auto read = ReadConfiguration(uncommented, EXAMPLE_CONFIGURATION);
  const Configuration defaults;
  EXPECT_EQ(ReadConfiguration(example, "example").socketPath, defaults.socketPath);
  EXPECT_EQ(read.socketPath, defaults.socketPath);
  EXPECT_EQ(read.storePath, defaults.storePath);
  EXPECT_EQ(read.bounds.age, defaults.bounds.age);
  EXPECT_EQ(read.bounds.bytes, defaults.bounds.bytes);
  EXPECT_EQ(read.waitingItems, defaults.waitingItems);
  EXPECT_EQ(read.rates.itemsPerSecond, defaults.rates.itemsPerSecond);
  EXPECT_EQ(read.rates.burstItems, defaults.rates.burstItems);
  EXPECT_EQ(read.rates.bytesPerSecond, defaults.rates.bytesPerSecond);
  EXPECT_EQ(read.rates.burstBytes, defaults.rates.burstBytes);
  EXPECT_EQ(read.transport, defaults.transport);
  EXPECT_EQ(read.link.host, defaults.link.host);
  EXPECT_EQ(read.link.history, defaults.link.history);
  EXPECT_EQ(read.nodeMetrics, defaults.nodeMetrics);
  EXPECT_EQ(read.metricsInterval, defaults.metricsInterval);
  EXPECT_EQ(read.textFolder, defaults.textFolder);
  EXPECT_EQ(read.statsInterval, defaults.statsInterval);
  ASSERT_EQ(read.rules.size(), defaults.rules.size());
  for (std::size_t i = 0; i < read.rules.size(); ++i) {
    EXPECT_EQ(read.rules[i].user, defaults.rules[i].user);
    EXPECT_EQ(read.rules[i].group, defaults.rules[i].group);
    EXPECT_EQ(read.rules[i].topics, defaults.rules[i].topics);
  }
}

}  // namespace
