#include "lib/sarnMirel/sessionFunctions.h"

#include <atomic>
#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/dataValue.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/sarnMirelSessionAuth.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

namespace SarnMirel {
namespace {

using Corvane::System::AuthTokenHelper;
using Mirel::Data::DataType;
using Mirel::Data::DataValue;
using Mirel::Data::StringValue;
using Mirel::Data::StructValue;

constexpr const char* kUserNameField = "username";
constexpr const char* kTokenHelperField = "authTokenHelper";
constexpr const char* kSessionIdField = "corvaneSessionId";
constexpr const char* kSessionRefField = "sessionRef";

constexpr std::int64_t kDefaultEphemeralTimeout = 30'000'000;

// Null for a call without authentication data, and for data of another type.
std::shared_ptr<const StructValue> AuthStructure(const ActivationPtr& activation) {
  const auto& authData = activation->authData();
  if (!authData || authData->type() != DataType::Structure) return nullptr;
  return std::static_pointer_cast<const StructValue>(authData);
}

SessionRef FindSession(const std::string& id) {
  SessionRef session;
  if (!Corvane::Service::GetApp()->GetSessionManager()->Find(id, session)) return nullptr;
  return session;
}

SessionRef MakeSession(std::int64_t idleTimeout) {
  SessionRef session;
  Corvane::CreateSession(idleTimeout, session);
  return session;
}

}  // namespace

SessionRef SessionFromActivation(const ActivationPtr& activation) {
  const auto structure = AuthStructure(activation);
  if (!structure) return nullptr;
  if (auto session = RefField<Corvane::Session>(*structure, kSessionRefField)) return session;
  const auto id = Mirel::Data::DataValueHelpers::GetValueByPath(structure, kSessionIdField);
  if (!id) return FindSession({});
  const auto* text = dynamic_cast<const StringValue*>(id.get());
  return text ? FindSession(text->value()) : nullptr;
}

SessionRef CreateSessionFromAuthData(const std::shared_ptr<const StructValue>& structure,
                                     std::int64_t idleTimeout, const ExpiryCbFactory& expiryCbFactory) {
  if (!structure) return nullptr;
  const auto userField = structure->GetField(kUserNameField);
  const auto* user = dynamic_cast<const StringValue*>(userField.get());
  const auto tokenHelper = RefField<AuthTokenHelper>(*structure, kTokenHelperField);
  if (!user || !tokenHelper) return nullptr;

  auto session = MakeSession(idleTimeout);
  // As it is now: a structure that comes to hold the session itself would keep it alive for ever.
  const auto auth =
      Corvane::MakeRef<SarnMirelSessionAuth>(user->value(), std::make_shared<const StructValue>(*structure));
  session->SetAuthData(auth);
  session->AttachObject("SarnMirelSessionAuth", auth);

  Corvane::Ref<Corvane::Authorize::AuthorizeManager> manager;
  Corvane::Authorize::AuthorizeManager::GetInstance(manager);
  manager->AddConnection(session.get(), user->value(), tokenHelper, false,
                         expiryCbFactory ? expiryCbFactory(tokenHelper) : nullptr);
  return session;
}

SessionRef FindOrCreateSession(const ActivationPtr& activation, std::int64_t idleTimeout,
                               const ExpiryCbFactory& expiryCbFactory) {
  if (auto session = SessionFromActivation(activation)) {
    session->SetIdleTimeout(idleTimeout);
    return session;
  }
  return CreateSessionFromAuthData(AuthStructure(activation), idleTimeout, expiryCbFactory);
}

SessionRef EnsureSession(const ActivationPtr& activation, std::int64_t idleTimeout,
                         const ExpiryCbFactory& expiryCbFactory) {
  if (auto session = SessionFromActivation(activation)) return session;
  if (auto session = FindOrCreateSession(activation, idleTimeout, expiryCbFactory)) return session;
  return MakeSession(idleTimeout);
}

SessionRef AttachSessionToAuthData(const Mirel::Data::StructValuePtr& structure, std::int64_t idleTimeout,
                                   const ExpiryCbFactory& expiryCbFactory) {
  auto session = CreateSessionFromAuthData(structure, idleTimeout, expiryCbFactory);
  if (session) {
    structure->SetField(kSessionIdField, DataValue::Create(session->GetId()));
    structure->SetField(kSessionRefField, std::make_shared<const RefValue<Corvane::Session>>(session));
  }
  return session;
}

std::int64_t EphemeralSessionIdleTimeout() {
  static std::atomic<std::int64_t> timeout{0};
  if (const auto known = timeout.load(std::memory_order_relaxed)) return known;
  std::int32_t configured = kDefaultEphemeralTimeout;
  Corvane::Service::GetApp()->GetConfig()->ReadInteger("sarnMirel/EphemeralSessionIdleTimeout", &configured);
  timeout.store(configured, std::memory_order_relaxed);
  return configured;
}

SessionRef EnsureEphemeralSession(const ActivationPtr& activation, const ExpiryCbFactory& expiryCbFactory) {
  return EnsureSession(activation, EphemeralSessionIdleTimeout(), expiryCbFactory);
}

SessionRef AttachEphemeralSession(const Mirel::Data::StructValuePtr& structure,
                                  const ExpiryCbFactory& expiryCbFactory) {
  return AttachSessionToAuthData(structure, EphemeralSessionIdleTimeout(), expiryCbFactory);
}

}  // namespace SarnMirel
