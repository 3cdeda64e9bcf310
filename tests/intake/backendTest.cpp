#include "apps/nornhesperd/backend.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>

#include "apps/nornhesperd/globalContext.h"
#include "platform/krell/guestSocket.h"
#include "tests/intake/intakeEnvironment.h"

// A backend's thread ends with its process only: each case has a process of its own.
namespace {

using Intake::GoodText;
using Intake::TestHost;
using testing::ExitedWithCode;

constexpr unsigned kPort = 7777;

void StartBackend() {
  NornHesper::GlobalContext::Get()->GetLogger()->SetLevel(6);
  Corvane::MakeRef<NornHesper::Backend>(kPort)->Start();
}

TEST(BackendDeathTest, RunsOnlyWithTheSocketItWants) {
  const std::tuple<const char*, int, const char*> cases[] = {
      {"family none", 0, "Failed to create backend socket, Address family not supported by protocol"},
      {"family device\nsocket EMFILE", 0, "Failed to create backend socket, open: Too many open files"},
      {"bind EADDRINUSE", 0, "Failed to create backend socket, bind: Address already in use"},
      {"setsockopt 9 EPERM", 0, "Failed to set peer rate limit to 2, Operation not permitted"},
      {"getsockopt 9 EIO", 0, "Failed to get peer rate limit, Input/output error"},
      {"option 9 sticks-at 7", 0, "Failed to limit packet rate, expected: 2, actual: 7"},
      {"setsockopt 10 EPERM", 0, "Failed to limit peers to priv, Operation not permitted"},
      {"getsockopt 10 EIO", 0, "Failed to query peer priv mode, Input/output error"},
      {"option 10 sticks-at 0", 0, "Failed to limit peers to priv, verification failed"},
      {"setsockopt SO_RCVBUF ENOBUFS", 3, "thrown: set_option: "},
      {"getsockopt SO_RCVBUF ENOBUFS", 3, "thrown: get_option: "},
      {"option SO_RCVBUF size 2", 3, "thrown: integer socket option resize"}};
  for (const auto& [faults, status, text] : cases) {
    EXPECT_EXIT(
        {
          const TestHost host(std::string(faults) + "\n");
          try {
            StartBackend();
          } catch (const std::exception& exception) {
            std::cerr << "thrown: " << exception.what();
            std::_Exit(3);
          }
        },
        ExitedWithCode(status), text);
  }
}

bool Answers(Krell::GuestSocket& guest, const std::string& text, const std::string& expected) {
  guest.Send(kPort, text);
  const auto answer = guest.Receive(std::chrono::seconds(20));
  std::cerr << text.size() << " bytes: " << (answer ? answer->text : "no answer") << '\n';
  return answer && answer->text == expected;
}

// Each datagram comes from another VM, so that no limit of the rate is met.
bool Converse() {
  TestHost host("recvmsg EINTR 1\n");
  StartBackend();
  for (uint32_t cid = 10; cid < 15; ++cid) {
    host.AddVm(cid, "vm " + std::to_string(cid));
  }
  Krell::GuestSocket guests[] = {Krell::GuestSocket(10), Krell::GuestSocket(11), Krell::GuestSocket(12),
                                 Krell::GuestSocket(13), Krell::GuestSocket(14)};
  const std::string good = "{\n\"sequence\":7,\n\"status\":\"ok\",\n\"rateLimit\":2\n}";
  const std::string bad = "{\n\"status\":\"bad\",\n\"diagnosis\":\"error(s): {65538, failed to json-parse '";
  const std::string end = "'}\",\n\"rateLimit\":2\n}";
  std::string full = GoodText(7);
  full.append(69608 - full.size(), ' ');
  return Answers(guests[0], GoodText(7), good) && Answers(guests[1], "", bad + end) &&
         Answers(guests[2], "\"x\"\n1", bad + "\"x\"\n1" + end) && Answers(guests[3], full, good) &&
         Answers(guests[4], full + "x", good);  // cut to what it is without its end
}

TEST(BackendDeathTest, AnswersGuests) {
  EXPECT_EXIT(std::_Exit(Converse() ? 0 : 1), ExitedWithCode(0),
              "receive buffer size set to [0-9]*[02468]\n.*Limited peer packet rate to 2 pps.*"
              "Required peers to be priv.*Started the backend thread");
}

}  // namespace
