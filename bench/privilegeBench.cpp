// What a call pays for the check of its privileges, by the number of objects that it is about: the way to its
// session, the walk, and for a caller who holds none the refusal. Finding objects and testing privileges are
// as cheap here as they can be.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "lib/sarnMirel/privilegeCheckerImpl.h"
#include "lib/sarnMirel/refValue.h"
#include "platform/corvane/log.h"
#include "platform/corvane/session.h"

namespace {

using Mirel::Core::AsyncActivation;
using SarnMirel::Authz::PrivilegeCheckerImpl;
using SarnMirel::Authz::ResolvedObject;

class Vm final : public ResolvedObject {
 public:
  std::string ToString() const override { return "vm"; }
};

std::shared_ptr<AsyncActivation> InASession() {
  Corvane::Ref<Corvane::Session> session;
  Corvane::CreateSession(1'800'000'000, session);
  auto authData = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
  authData->SetField("sessionRef", std::make_shared<SarnMirel::RefValue<Corvane::Session>>(session));
  auto activation = AsyncActivation::GetInstance(std::make_shared<const Mirel::Core::ExecutionContext>());
  activation->authData(std::move(authData));
  return activation;
}

void Check(benchmark::State& state, bool held) {
  const auto activation = InASession();
  const auto method = std::make_shared<const Mirel::Core::MethodIdentifier>();
  const auto privileges = std::make_shared<const std::vector<std::string>>(
      std::vector<std::string>{"VirtualMachine.Interact.PowerOn", "VirtualMachine.Config.Resource"});
  const Mirel::Authz::MethodCollectionPrivileges required(static_cast<std::size_t>(state.range(0)),
                                                          {"vm-1234", "VirtualMachine", "vm", privileges});
  PrivilegeCheckerImpl checker(
      Corvane::Service::Logger::sDefaultLogger,
      [vm = Corvane::Ref<ResolvedObject>(new Vm)](const auto&, const auto&) { return vm; },
      [held](const auto&, const auto& session, const auto& object, const auto&) {
        return held && session && object;
      });
  std::int64_t refused = 0;
  for (auto _ : state) {
    checker.CheckPrivileges(method, activation, required,
                            [&](const auto& refusal, const auto&) { refused += refusal != nullptr; });
  }
  if ((refused == 0) != held) state.SkipWithError("decided otherwise");
}

void Passes(benchmark::State& state) {
  Check(state, true);
}
BENCHMARK(Passes)->Arg(1)->Arg(10);

void Refused(benchmark::State& state) {
  Check(state, false);
}
BENCHMARK(Refused)->Arg(1)->Arg(10);

}  // namespace
