// Bodies of callers without credentials: many whose last bytes never come, and a few that are long and dear
// to read.

#include <algorithm>
#include <string>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/callers.h"
#include "bench/siege/client.h"
#include "bench/siege/crowd.h"

namespace Siege {
namespace {

constexpr std::size_t kUnfinishedPause = 10;  // ms between two of them
constexpr std::size_t kWholeBody = 2'400'000;
constexpr std::size_t kBigBody = 1'900'000;
constexpr auto kThinkingTime = milliseconds(10);

// Begin, the part as often as it fits, end; `%` in the part is the number of the part.
std::string Filled(std::string_view begin, std::string_view part, std::string_view end) {
  std::string text(begin);
  for (std::size_t number = 0; text.size() + part.size() + end.size() + 10 < kBigBody; ++number) {
    if (number != 0) text += ',';
    const auto at = part.find('%');
    text.append(part.substr(0, at));
    if (at != std::string_view::npos) text.append(std::to_string(number)).append(part.substr(at + 1));
  }
  return text.append(end);
}

std::string Escapes() {
  std::string text = R"({"a":")";
  while (text.size() + 20 < kBigBody) text += R"(\u00e9\n\"\ud83d\ude00)";
  return text + "\"}";
}

// Narrow towers of the deepest nesting that is read, side by side.
std::string Towers() {
  std::string tower;
  for (int i = 0; i < 25; ++i) tower += R"({"a":[)";
  for (int i = 0; i < 25; ++i) tower += "]}";
  return Filled(R"({"a":[)", tower, "]}");
}

// One for each client.
std::vector<std::string> BigInputs() {
  return {
      Filled("{", R"("member%":1)", "}"),
      Filled(R"({"a":[)", "1", "]}"),
      Filled(R"({"a":[)", "{}", "]}"),
      Filled(R"({"a":[)", R"("")", "]}"),
      Filled("{", R"("same":{"optional":["x"]})", "}"),
      Filled("{", R"("structure%":{"structure":"s","fields":{"f":[1.5,true,null]}})", "}"),
      Escapes(),
      Towers(),
  };
}

// So many connections whose bodies lack their last kilobyte.
void SendUnfinished(const Assault& assault, std::size_t connections, std::string_view moreHeaders) {
  const std::string begin = R"({"jsonrpc":"2.0","id":1,"method":")";
  const auto text = HalfPost(kWholeBody, begin + std::string(kWholeBody - 1000, 'x'), moreHeaders);
  Crowd crowd(assault.port);
  for (std::size_t made = 0; assault.GoesOn();) {
    const auto due = static_cast<std::size_t>(MillisecondsSince(assault.begin)) / kUnfinishedPause;
    for (; made < std::min(due, connections); ++made) {
      crowd.Add(text);
      assault.Count();
    }
    crowd.Turn(milliseconds(20));
    assault.Hold(crowd.Size());
    Sleep(milliseconds(1));
  }
}

}  // namespace

void UnfinishedBodies(const Assault& assault) {
  SendUnfinished(assault, 1000, "");
}

// More of them than there are descriptors.
void PretendersBodies(const Assault& assault) {
  SendUnfinished(assault, 1300, "Authorization: Bearer e30.e30.c2lnbmVk\r\n");
}

void BigBodies(const Assault& assault) {
  std::vector<std::string> requests;
  for (const auto& input : BigInputs()) {
    requests.push_back(AnonymousCall('"' + std::string(kOpenCall) + '"', input));
  }
  CallAgainAndAgain(assault, requests, kThinkingTime);
}

}  // namespace Siege
