// What a call within a session costs in front of its operation: the session handler's look-up, and the way
// from the authentication data back to the session.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/sessionFunctions.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

namespace {

using namespace SarnMirel;
using Corvane::System::AuthTokenHelper;
using Mirel::Core::SecurityContextWrappedEntry;
namespace Security = Mirel::Core::Security;

bool StartApplication() {
  char config[] = "/tmp/norn-bench.XXXXXX";
  const int file = mkstemp(config);
  constexpr std::string_view kText = "<config><log><level>3</level></log></config>";
  const bool written = write(file, kText.data(), kText.size()) == static_cast<ssize_t>(kText.size());
  close(file);
  if (written) Corvane::Service::InitApp(config);
  unlink(config);
  return written;
}

class Sessions {
 public:
  explicit Sessions(std::size_t count) : mapping_(std::make_shared<SessionMapping>(count)) {
    const auto login = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
    login->SetField("username", Mirel::Data::DataValue::Create("alice"));
    login->SetField("authTokenHelper", std::make_shared<const RefValue<AuthTokenHelper>>(
                                           Corvane::MakeRef<AuthTokenHelper>("alice")));
    SessionServiceImpl service(mapping_, logger_, nullptr);
    for (std::size_t i = 0; i < count; ++i) {
      const auto activation =
          Mirel::Core::AsyncActivation::GetInstance(std::make_shared<const Mirel::Core::ExecutionContext>());
      activation->authData(login);
      SessionServiceImpl::CreateResult::ResultCb callbacks;
      callbacks.first = [this](const auto& value, const auto&, const auto&) {
        contexts_.push_back(MakeContext(value->text()));
      };
      service.Create(activation, SessionServiceImpl::CreateResult(std::move(callbacks)));
    }
  }
  ~Sessions() {
    auto& manager = *Corvane::Service::GetApp()->GetSessionManager();
    while (!mapping_->map.empty()) manager.Remove(std::string(mapping_->map.begin()->second));
  }
  Sessions(const Sessions&) = delete;
  Sessions& operator=(const Sessions&) = delete;

  // One call of some client: gives whether its session was found.
  bool Call(std::size_t client) {
    const auto activation = Mirel::Core::AsyncActivation::GetInstance(contexts_[client % contexts_.size()]);
    handler_.AsyncAuthenticate(activation, [&](const auto& value) { activation->authData(value); });
    return SessionFromActivation(activation) != nullptr;
  }

 private:
  static std::shared_ptr<const Mirel::Core::ExecutionContext> MakeContext(const std::string& apiSessionId) {
    auto context = std::make_shared<Mirel::Core::ExecutionContext>();
    context->securityContext.emplace(Security::kSchemeIdKey,
                                     SecurityContextWrappedEntry(Security::kSessionScheme));
    context->securityContext.emplace(Security::kSessionIdKey, SecurityContextWrappedEntry(apiSessionId));
    return context;
  }

  std::shared_ptr<SessionMapping> mapping_;
  Corvane::Ref<Corvane::Service::Logger> logger_ = Corvane::Service::Logger::Create({.level = 3});
  Authn::SessionHandler handler_{mapping_, logger_, nullptr};
  std::vector<std::shared_ptr<const Mirel::Core::ExecutionContext>> contexts_;
};

std::unique_ptr<Sessions> sessions;

// Clients call in no order, so that a large table is not all in the cache.
void BM_CallInSession(benchmark::State& state) {
  std::uint64_t client = static_cast<std::uint64_t>(state.thread_index()) * 7919;
  for (auto _ : state) {
    client = client * 6364136223846793005U + 1442695040888963407U;
    if (!sessions->Call(static_cast<std::size_t>(client >> 33U))) state.SkipWithError("no session");
  }
}
BENCHMARK(BM_CallInSession)
    ->Arg(10)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Threads(1)
    ->Threads(2)
    ->UseRealTime()
    ->Setup([](const benchmark::State& state) {
      static const bool started = StartApplication();
      if (!started) std::abort();
      sessions = std::make_unique<Sessions>(static_cast<std::size_t>(state.range(0)));
    })
    ->Teardown([](const benchmark::State&) { sessions.reset(); });

}  // namespace
