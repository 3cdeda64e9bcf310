// Wrong passwords, and what they cost the one who has the right one.

#include <string>
#include <thread>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/callers.h"
#include "bench/siege/client.h"
#include "platform/corvane/crypto.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::size_t kGuessers = 4;
constexpr auto kGuessPause = milliseconds(20);
constexpr auto kRootsPause = seconds(1);
constexpr auto kRootsPatience = seconds(60);

// A call that's refused for its argument once the caller is known.
std::string CallWithPassword(const std::string& user, const std::string& password) {
  const auto plain = user + ":" + password;
  std::string text;
  Base64_Encode(plain.data(), plain.size(), text);
  return Testing::CallRequest(kSubscribe, R"({"spec":{"vm_id_type":"SERIAL"}})", "application/json",
                              "Connection: close\r\n", "Authorization: Basic " + text + "\r\n");
}

bool RootComesIn(std::uint16_t port) {
  static const auto request = CallWithPassword("root", "root secret");
  return Ask(port, request).find("errors.unsupported") != std::string::npos;
}

// How long it takes root to come in from now on.
std::string RootsWait(std::uint16_t port) {
  const auto begin = Clock::now();
  while (Clock::now() < begin + kRootsPatience) {
    if (RootComesIn(port)) {
      return "in after " + std::to_string(static_cast<int>(MillisecondsSince(begin))) + " ms";
    }
    Sleep(kRootsPause);
  }
  return "not in within " + std::to_string(kRootsPatience.count()) + " s";
}

}  // namespace

void WrongLogins(const Assault& assault) {
  std::thread guessers([&assault] {
    const auto guess = CallWithPassword("root", "wrong");
    CallAgainAndAgain(assault, std::vector<std::string>(kGuessers, guess), kGuessPause);
  });
  int tried = 0;
  int in = 0;
  for (; assault.GoesOn(); ++tried) {
    if (RootComesIn(assault.port)) ++in;
    Sleep(kRootsPause);
  }
  guessers.join();
  assault.Remark("root came in " + std::to_string(in) + " of " + std::to_string(tried) +
                 " times, and afterwards " + RootsWait(assault.port));
}

void OneSlowLogin(const Assault& assault) {
  if (!Ask(assault.port, CallWithPassword("root", "wrong")).empty()) assault.Count();
  assault.Remark("root " + RootsWait(assault.port));
}

}  // namespace Siege
