#include "tests/sarnMirel/bridgeEnvironment.h"

#include <atomic>

#include "lib/sarnMirel/refValue.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/expiryTimer.h"
#include "testing/temporaryFolder.h"

namespace Bridge {
namespace {

using Testing::TemporaryFolder;

std::atomic<std::int64_t> gNow{0};

class AppEnvironment final : public testing::Environment {
 public:
  void SetUp() override {
    const TemporaryFolder folder;
    Corvane::Service::InitApp(folder.Write(
        "config.xml", "<config><log><level>3</level></log><sarnMirel><EphemeralSessionIdleTimeout>" +
                          std::to_string(kEphemeralTimeout) +
                          "</EphemeralSessionIdleTimeout></sarnMirel></config>"));
    // Its thread could tell sessions of their end while a test looks at them.
    Corvane::ExpiryTimer::OfProcess()->Stop();
  }
};

const testing::Environment* const kEnvironment = testing::AddGlobalTestEnvironment(new AppEnvironment);

}  // namespace

SarnMirel::ActivationPtr Activation(const Entries& securityContext,
                                    const Mirel::Data::DataValuePtr& authData) {
  auto context = std::make_shared<Mirel::Core::ExecutionContext>();
  for (const auto& [key, text] : securityContext) {
    context->securityContext.emplace(key, Mirel::Core::SecurityContextWrappedEntry(text));
  }
  auto activation = Mirel::Core::AsyncActivation::GetInstance(std::move(context));
  activation->authData(authData);
  return activation;
}

Entries InSession(const std::string& apiSessionId) {
  return {{"schemeId", "com.tessaly.mirel.std.security.session_id"}, {"sessionId", apiSessionId}};
}

Mirel::Data::StructValuePtr Login(const std::string& user) {
  using Corvane::System::AuthTokenHelper;
  auto login = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
  login->SetField("username", Mirel::Data::DataValue::Create(user));
  login->SetField("authTokenHelper", std::make_shared<const SarnMirel::RefValue<AuthTokenHelper>>(
                                         Corvane::MakeRef<AuthTokenHelper>(user)));
  return login;
}

Corvane::SessionManager& Manager() {
  return *Corvane::Service::GetApp()->GetSessionManager();
}

void PassTime(std::int64_t microseconds) {
  gNow += microseconds;
  Corvane::ExpiryTimer::OfProcess()->TellDue();
}

std::string CaptureLog(const std::function<void()>& function) {
  testing::internal::CaptureStderr();
  function();
  return testing::internal::GetCapturedStderr();
}

}  // namespace Bridge

// Corvane::System::GetMonotonicTime of this program.
extern "C" std::int64_t __wrap__ZN7Corvane6System16GetMonotonicTimeEv();
extern "C" std::int64_t __wrap__ZN7Corvane6System16GetMonotonicTimeEv() {
  return Bridge::gNow;
}
