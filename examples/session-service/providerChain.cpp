#include "examples/session-service/providerChain.h"

#include <fstream>
#include <mutex>

#include "bindings/sessionService.h"
#include "examples/session-service/notesService.h"
#include "examples/session-service/privileges.h"
#include "examples/session-service/users.h"
#include "framework/authz/asyncAuthzFilter.h"
#include "framework/authz/authzInfo.h"
#include "framework/authz/entitlementChecker.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "framework/provider/asyncAuthnFilter.h"
#include "framework/provider/asyncLocalProvider.h"
#include "framework/provider/localization.h"
#include "lib/sarnMirel/corvaneWrapLogger.h"
#include "lib/sarnMirel/opIdExtractFilter.h"
#include "lib/sarnMirel/sessionLeaseFilter.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "platform/corvane/app.h"
#include "platform/corvane/exception.h"

namespace SessionExample {
namespace {

using Corvane::System::DateTime;
using ProviderPtr = std::shared_ptr<Mirel::Core::AsyncApiProvider>;

// However busy a session is, its user logs in again after half a day.
constexpr std::int64_t kLongestLogin = 12LL * 3600 * 1'000'000;

std::shared_ptr<Mirel::Log::Logger> MakeLogger(const char* name) {
  return std::make_shared<SarnMirel::CorvaneWrapLoggger>(
      Corvane::Service::GetApp()->GetLogger()->CreateLogger(name));
}

// Whoever has logged in is a user; what users may do is a matter of privileges.
class EveryUserIsEntitled final : public Mirel::Authz::EntitlementChecker {
 public:
  bool IsEntitled(const Mirel::Data::DataValue&, const std::set<std::string>& demanded) const override {
    return demanded.contains("USER");
  }
};

std::shared_ptr<SarnMirel::SessionMapping> MakeMapping() {
  std::int32_t limit = 100;
  Corvane::Service::GetApp()->GetConfig()->ReadInteger("sessionLimit", &limit, 1);
  return std::make_shared<SarnMirel::SessionMapping>(limit);
}

std::shared_ptr<const Mirel::Provider::AsyncApiInterface> MakeSessionInterface(
    const std::shared_ptr<SarnMirel::SessionMapping>& mapping) {
  const SarnMirel::ExpiryCbFactory expiry = [](const auto&) {
    return [](Corvane::Authorize::UserData*, const DateTime& now) {
      return DateTime(now.GetUtcTime() + kLongestLogin);
    };
  };
  const auto service = std::make_shared<SarnMirel::SessionServiceImpl>(
      mapping, Corvane::Service::GetApp()->GetLogger()->CreateLogger("sessions"), expiry);
  return Com::Tessaly::Ombra::SessionSvc::AsyncServiceBinder::BindImplementation(
      service, Mirel::L10n::LocalizerHelpers::GetDefaultLocalizer());
}

std::shared_ptr<Mirel::Authz::AuthzInfo> LoadAuthzInfo(const std::string& fileName) {
  auto info = std::make_shared<Mirel::Authz::AuthzInfo>();
  std::ifstream file(fileName);
  Mirel::MessageList messages;
  if (!file.is_open()) throw Corvane::Exception(fileName + ": cannot be read");
  if (!Mirel::Authz::Metadata::LoadAuthzInfoMetadata::Load(file, info, nullptr, messages)) {
    throw Corvane::Exception(fileName + ": " + messages.front().defaultMessage);
  }
  return info;
}

}  // namespace

ProviderPtr BuildProviderChain(const Mirel::Asio::Enqueuer& enqueuer, const std::string& metadataFile) {
  using Mirel::Provider::AsyncLocalProvider;
  const auto mapping = MakeMapping();
  const auto services = std::make_shared<AsyncLocalProvider<std::mutex>>(
      enqueuer, AsyncLocalProvider<std::mutex>::Container::GetInstance(
                    {MakeSessionInterface(mapping), MakeNotesInterface()}));
  services->AddIntrospectionServices();

  // From the last link to the first one.
  ProviderPtr head =
      std::make_shared<SarnMirel::Filter::SessionLeaseFilter>(enqueuer, services, MakeLogger("lease"));
  head = std::make_shared<Mirel::Authz::Filter::AsyncAuthzFilter>(
      enqueuer, head, LoadAuthzInfo(metadataFile), std::make_shared<EveryUserIsEntitled>(),
      MakeLogger("authz"), MakePrivilegeChecker());
  auto handlers = MakeAuthnHandlers(mapping);
  handlers.reverse();
  for (const auto& handler : handlers) {
    head = std::make_shared<Mirel::Authn::Filter::AsyncAuthnFilter>(head, handler);
  }
  return std::make_shared<SarnMirel::Filter::OpIdExtractFilter>(head, MakeLogger("calls"));
}

}  // namespace SessionExample
