#include "bench/siege/scenes.h"

#include <algorithm>

#include "bench/siege/attacks.h"

namespace Siege {
namespace {

constexpr auto kShort = seconds(15);
constexpr auto kMiddle = seconds(30);
constexpr auto kLong = seconds(60);
// Two minutes, and what the scene's own clock may be late.
constexpr auto kTwoMinutes = seconds(125);

}  // namespace

std::span<const Scene> Scenes() {
  static const std::vector<Scene> scenes = {
      {"none", "nothing", {}, kShort},
      {"connections", "connections", {IdleConnections}, kLong},
      {"answered", "connections", {AnsweredConnections}, kMiddle},
      {"leavers", "subscribers", {Leavers}, kMiddle, {}, kTwoMinutes},
      {"unfinished-bodies", "connections", {UnfinishedBodies}, kMiddle, {}, kTwoMinutes},
      {"pretenders-bodies", "connections", {PretendersBodies}, kMiddle, {}, kTwoMinutes},
      {"big-bodies", "calls", {BigBodies}, kMiddle},
      {"repeats", "datagrams", {Repeats}, kMiddle},
      {"bad-texts", "datagrams", {BadTexts}, kShort},
      {"long-names", "calls", {LongNames}, kShort},
      {"control-names", "calls", {ControlNames}, kShort},
      {"long-contexts", "calls", {LongContexts}, kShort},
      {"stderr-full", "calls", {ManyRefusals}, kShort, {ErrorSink::FullPipe}},
      {"stderr-gone", "calls", {ManyRefusals}, kShort, {ErrorSink::BrokenPipe}},
      {"logins", "guesses", {WrongLogins}, kMiddle, {ErrorSink::File, Passwords::Fast}},
      {"slow-login", "guesses", {OneSlowLogin}, kMiddle, {ErrorSink::File, Passwords::Slow}},
      {"forged-tokens", "calls", {ForgedTokens}, kShort},
      {"churn", "connections", {Churn}, kShort},
      {"slow-clients", "datagrams", {SlowClients}, kMiddle},
      {"pipelines", "connections", {Pipelines}, kMiddle},
      {"together",
       "all of them",
       {IdleConnections, Leavers, UnfinishedBodies, BigBodies, Repeats, LongNames, ControlNames, LongContexts,
        WrongLogins, SlowClients, Pipelines},
       kLong,
       {ErrorSink::File, Passwords::Fast},
       kTwoMinutes},
  };
  return scenes;
}

const Scene* FindScene(std::string_view name) {
  const auto scenes = Scenes();
  const auto found =
      std::find_if(scenes.begin(), scenes.end(), [&](const Scene& scene) { return scene.name == name; });
  return found == scenes.end() ? nullptr : &*found;
}

}  // namespace Siege
