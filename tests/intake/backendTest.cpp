#include "apps/nornhesperd/backend.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "apps/nornhesperd/globalContext.h"
#include "testing/testHost.h"

// A backend's thread ends with its process only: each case has a process of its own.
namespace {

using Testing::DeathTestHost;
using testing::ExitedWithCode;

TEST(BackendDeathTest, RunsOnlyWithTheSocketItWants) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"family device\nsocket EMFILE", 0, "Failed to create backend socket, open: Too many open files"},
      {"getsockopt 9 EIO", 0, "Failed to get peer rate limit, Input/output error"},
      {"getsockopt 10 EIO", 0, "Failed to query peer priv mode, Input/output error"},
      {"setsockopt SO_RCVBUF ENOBUFS", 3, "thrown: set_option: "},
      {"getsockopt SO_RCVBUF ENOBUFS", 3, "thrown: get_option: "},
      {"option SO_RCVBUF size 2", 3, "thrown: integer socket option resize"}};
  for (const auto& [faults, status, text] : cases) {
    const DeathTestHost host(std::string(faults) + "\n");
    EXPECT_EXIT(
        {
          try {
            NornHesper::GlobalContext::Get()->GetLogger()->SetLevel(6);
            Corvane::MakeRef<NornHesper::Backend>(7777)->Start();
          } catch (const std::exception& exception) {
            std::cerr << "thrown: " << exception.what();
            std::_Exit(3);
          }
        },
        ExitedWithCode(status), text);
  }
}

}  // namespace
