#include "apps/nornhesperd/backend.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iostream>
#include <system_error>

#include "apps/nornhesperd/globalContext.h"
#include "platform/krell/guestSocket.h"
#include "tests/intake/intakeEnvironment.h"

// A backend's thread ends with its process only: each case has a process of its own.
namespace {

using Intake::GoodText;
using Intake::TestHost;
using Krell::GuestSocket;
using NornHesper::Backend;
using testing::ExitedWithCode;

constexpr unsigned kPort = 7777;

void StartBackend(int logLevel) {
  NornHesper::GlobalContext::Get()->GetLogger()->SetLevel(logLevel);
  static const auto backend = Corvane::MakeRef<Backend>(kPort);
  backend->Start();
}

TEST(BackendDeathTest, SocketFaultsEndTheProcess) {
  const std::pair<const char*, const char*> cases[] = {
      {"family none", "Failed to create backend socket, Address family not supported by protocol"},
      {"family device\nsocket EMFILE 1", "Failed to create backend socket, open: Too many open files"},
      {"bind EADDRINUSE", "Failed to create backend socket, bind: Address already in use"},
      {"setsockopt 9 EPERM", "Failed to set peer rate limit to 2, Operation not permitted"},
      {"getsockopt 9 EIO", "Failed to get peer rate limit, Input/output error"},
      {"option 9 sticks-at 7", "Failed to limit packet rate, expected: 2, actual: 7"},
      {"setsockopt 10 EPERM", "Failed to limit peers to priv, Operation not permitted"},
      {"getsockopt 10 EIO", "Failed to query peer priv mode, Input/output error"},
      {"option 10 sticks-at 0", "Failed to limit peers to priv, verification failed"}};
  for (const auto& [fault, text] : cases) {
    EXPECT_EXIT(
        {
          const TestHost host(std::string(fault) + "\n");
          StartBackend(6);
        },
        ExitedWithCode(0), text);
  }
}

std::string FailureOfStart(const std::string& fault) {
  const TestHost host(fault);
  try {
    StartBackend(2);
  } catch (const std::exception& exception) {
    return exception.what();
  }
  return "";
}

TEST(BackendDeathTest, ReceiveBufferFaultsAreThrown) {
  const std::pair<const char*, const char*> cases[] = {
      {"setsockopt SO_RCVBUF ENOBUFS\n", "set_option: "},
      {"getsockopt SO_RCVBUF ENOBUFS\n", "get_option: "},
      {"option SO_RCVBUF size 2\n", "integer socket option resize"}};
  for (const auto& [fault, text] : cases) {
    EXPECT_EXIT(std::_Exit(FailureOfStart(fault).starts_with(text) ? 0 : 1), ExitedWithCode(0), "") << fault;
  }
}

bool Answers(uint32_t cid, const std::string& text, const std::string& expected) {
  GuestSocket guest(cid);
  guest.Send(kPort, text);
  const auto answer = guest.Receive(std::chrono::seconds(20));
  if (answer && answer->text == expected) {
    return true;
  }
  std::cerr << text.size() << " bytes were answered by: " << (answer ? answer->text : "nothing") << '\n';
  return false;
}

std::string Good(int sequence) {
  return "{\n\"sequence\":" + std::to_string(sequence) + ",\n\"status\":\"ok\",\n\"rateLimit\":2\n}";
}

std::string Bad(const std::string& diagnosis) {
  return "{\n\"status\":\"bad\",\n\"diagnosis\":\"" + diagnosis + "\",\n\"rateLimit\":2\n}";
}

bool Converse() {
  TestHost host("recvmsg EINTR 1\n");
  StartBackend(6);
  // One VM a datagram, so that no limit of the rate is met.
  for (uint32_t cid = 10; cid < 18; ++cid) {
    host.AddVm(cid, "vm " + std::to_string(cid));
  }
  const std::string fault = "error(s): {65538, failed to json-parse '";
  std::string full = GoodText(8);
  full.append(69608 - full.size(), ' ');
  const std::string quotes(69608, '"');
  bool good = Answers(10, GoodText(7), Good(7)) && Answers(11, "", Bad(fault + "'}")) &&
              Answers(12, "\"x\"\n1", Bad(fault + "\"x\"\n1'}")) && Answers(13, full, Good(8)) &&
              Answers(14, full + "x", Good(8)) && Answers(15, quotes, Bad((fault + quotes).substr(0, 69480)));
  // A sender that can't be told any more gets no answer, and the next one is served.
  GuestSocket gone(16);
  host.RemoveVm(16);
  try {
    gone.Send(kPort, "{}");
  } catch (const std::system_error&) {
  }
  return good && Answers(17, GoodText(9), Good(9));
}

TEST(BackendDeathTest, AnswersGuests) {
  EXPECT_EXIT(std::_Exit(Converse() ? 0 : 1), ExitedWithCode(0),
              "HESPER socket receive buffer size set to [0-9]*[02468]\n.*"
              "Limited peer packet rate to 2 pps.*Required peers to be priv.*"
              "Started the backend thread.*");
}

}  // namespace
