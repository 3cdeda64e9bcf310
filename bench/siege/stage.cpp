#include "bench/siege/stage.h"

#include <algorithm>
#include <memory>

namespace Siege {
namespace {

constexpr auto kLook = milliseconds(200);
// What the attackers may take to notice that their time is over, a login's patience included.
constexpr auto kGrace = seconds(75);
// The newcomers' descriptors come and go.
constexpr unsigned kSlack = 3;

using Attackers = std::vector<std::unique_ptr<Attacker>>;

// Looks at the daemon until the condition holds, the time is over or the daemon has ended.
template <typename Condition>
void Watch(Target& target, Outcome& outcome, Clock::time_point until, Condition condition) {
  while (target.IsRunning() && Clock::now() < until && !condition()) {
    outcome.after = Testing::Look(target.pid());
    outcome.kMostDescriptors = std::max(outcome.kMostDescriptors, outcome.after.descriptors);
    Sleep(kLook);
  }
}

void LetGo(Target& target, Outcome& outcome, const Attackers& attackers, seconds length) {
  for (const auto& attacker : attackers) attacker->Go();
  const auto begin = Clock::now();
  Watch(target, outcome, begin + length, [] { return false; });
  Watch(target, outcome, begin + length + kGrace, [&] {
    return std::all_of(attackers.begin(), attackers.end(),
                       [](const auto& attacker) { return attacker->HasEnded(); });
  });
  outcome.seconds = MillisecondsSince(begin) / 1000;
}

void Collect(Outcome& outcome, const Attackers& attackers) {
  for (const auto& attacker : attackers) {
    outcome.attackerCpuSeconds += attacker->Stop();
    outcome.done += attacker->tally().done;
    outcome.held += attacker->tally().held;
    const std::string remark = attacker->tally().remark;
    if (!remark.empty()) outcome.remarks += (outcome.remarks.empty() ? "" : "; ") + remark;
  }
}

void AwaitDescriptors(Target& target, Outcome& outcome, seconds patience) {
  const auto begin = Clock::now();
  const auto areBack = [&] { return outcome.after.descriptors <= outcome.before.descriptors + kSlack; };
  Watch(target, outcome, begin + patience, areBack);
  if (areBack()) outcome.descriptorsBackSeconds = MillisecondsSince(begin) / 1000;
}

}  // namespace

Outcome Play(const Scene& scene) {
  Target target(scene.target);
  Attackers attackers;
  for (const auto attack : scene.attacks) {
    attackers.push_back(std::make_unique<Attacker>(attack, target, scene.length));
  }
  Canary canary(target);
  Sleep(seconds(2));
  Outcome outcome;
  outcome.before = Testing::Look(target.pid());
  const auto others = Testing::MachineCpuSeconds() - Testing::OwnCpuSeconds();
  LetGo(target, outcome, attackers, scene.length);
  Collect(outcome, attackers);
  outcome.otherCpuSeconds = Testing::MachineCpuSeconds() - Testing::OwnCpuSeconds() - others -
                            outcome.attackerCpuSeconds -
                            (outcome.after.cpuSeconds - outcome.before.cpuSeconds);
  AwaitDescriptors(target, outcome, scene.patience);
  outcome.canary = canary.Stop();
  if (!target.IsRunning()) outcome.remarks += " THE DAEMON HAS ENDED: " + target.ending();
  if (target.IsRunning()) outcome.after = Testing::Look(target.pid());
  outcome.logBytes = target.LogBytes();
  outcome.auditBytes = target.AuditBytes();
  return outcome;
}

}  // namespace Siege
