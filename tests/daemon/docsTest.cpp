// Runs every command of the API's documentation, so that it can't go stale.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "testing/daemon.h"
#include "testing/temporaryFolder.h"

namespace {

using namespace Testing;

// The blocks between "```sh" and "```".
std::vector<std::string> ShellBlocks(const std::string& fileName) {
  std::vector<std::string> blocks;
  std::ifstream file(fileName);
  bool inside = false;
  for (std::string line; std::getline(file, line);) {
    if (!inside && line == "```sh") {
      blocks.emplace_back();
      inside = true;
    } else if (line == "```") {
      inside = false;
    } else if (inside) {
      blocks.back() += line + "\n";
    }
  }
  return blocks;
}

TEST(ApiDocumentTest, EveryCommandRuns) {
  // Where the token is put.
  const TemporaryFolder folder;
  Daemon daemon;
  Vm vm(5);
  // What the documented subscribers wait for.
  std::atomic<bool> stop{false};
  std::thread publisher([&] {
    Krell::GuestSocket guest(vm.cid());
    for (std::uint64_t sequence = 1; !stop; ++sequence) {
      Publish(guest, daemon, PublicationText(sequence, "app.web.load", "MC40Mg=="),
              std::chrono::milliseconds(500));
    }
  });
  const auto blocks = ShellBlocks(API_DOCUMENT);
  ASSERT_GE(blocks.size(), 5U);
  // The first block is what the others start from.
  for (const auto& block : std::span(blocks).subspan(1)) {
    const auto script = SharedHost().Directory() + ".sh";
    std::ofstream(script) << "set -eu\ncd " << folder / ""
                          << "\nexport PATH=" PROGRAMS_FOLDER ":$PATH\nAPI=http://127.0.0.1:" << daemon.port()
                          << "/api\nPORT=" << daemon.port() << "\n"
                          << blocks.front() << block;
    EXPECT_EQ(std::system(("timeout 30 bash " + script + " > " + script + ".out 2>&1").c_str()), 0) << block;
    std::ifstream output(script + ".out");
    EXPECT_NE(output.peek(), std::ifstream::traits_type::eof()) << "no output from:\n" << block;
  }
  stop = true;
  publisher.join();
}

}  // namespace
