#include "apps/nornhesperd/providerChain.h"

#include <fstream>
#include <list>
#include <mutex>
#include <utility>
#include <vector>

#include "apps/nornhesperd/auditCallable.h"
#include "apps/nornhesperd/endpointAuthn.h"
#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/guestDataImpl.h"
#include "apps/nornhesperd/loginCounting.h"
#include "apps/nornhesperd/messageCatalogue.h"
#include "apps/nornhesperd/statsImpl.h"
#include "bindings/guestDataService.h"
#include "bindings/statsService.h"
#include "framework/authz/asyncAuthzFilter.h"
#include "framework/authz/authzInfo.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "framework/metadata/providerHelper.h"
#include "framework/provider/asyncApiInterfaceConcurrentContainer.h"
#include "framework/provider/asyncAuthnFilter.h"
#include "framework/provider/asyncLocalProvider.h"
#include "framework/provider/callRegistrar.h"
#include "framework/provider/enqueuer.h"
#include "framework/provider/localization.h"
#include "lib/sarnMirel/corvaneWrapLogger.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "lib/token/jwtEntitlementChecker.h"
#include "lib/token/tokenHandler.h"
#include "platform/audit/audit.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/log.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/paths.h"

namespace NornHesper {
namespace {

namespace Metadata = Mirel::Provider::Metadata;
using Corvane::Service::Logger;
using Metadata::ProviderHelper;
using Mirel::Log::SeverityLevel;
using ProviderPtr = std::shared_ptr<Mirel::Core::AsyncApiProvider>;
using LoggerPtr = std::shared_ptr<Mirel::Log::Logger>;

LoggerPtr MakeWrappedLogger(const char* name) {
  return std::make_shared<SarnMirel::CorvaneWrapLoggger>(Logger::sDefaultLogger->CreateLogger(name));
}

// The localizer of the daemon's own messages.
std::shared_ptr<const Mirel::L10n::Localizer> MakeServiceLocalizer() {
  return std::make_shared<const Mirel::L10n::Localizer>(
      std::list<std::string>{"en_US"}, &MessageCatalogueLookup,
      Mirel::L10n::LocalizerHelpers::GetDefaultFormatter(), Mirel::L10n::LocalizerSpec{});
}

// Which operation demands which entitlement. A daemon that does not know who may do what does not run.
std::shared_ptr<Mirel::Authz::AuthzInfo> LoadAuthzInfo(const std::string& fileName, const LoggerPtr& logger) {
  auto info = std::make_shared<Mirel::Authz::AuthzInfo>();
  Mirel::Log::Write(logger, SeverityLevel::Info, "Loading authz metadata file:", fileName);
  std::ifstream file(fileName);
  Mirel::MessageList messages;
  const bool loaded =
      file.is_open() && Mirel::Authz::Metadata::LoadAuthzInfoMetadata::Load(file, info, logger, messages);
  if (!loaded) {
    Mirel::Log::Write(logger, SeverityLevel::Error, "Error loading authz metadata file:", fileName);
  }
  file.close();
  VERIFY(loaded);
  return info;
}

std::list<std::shared_ptr<Mirel::Authn::AuthnHandler>> MakeAuthnHandlers() {
  return {std::make_shared<SarnMirel::Authn::UserPassHandler>(
              &Authenticate, Logger::sDefaultLogger->CreateLogger("NornHesperUserPassHandler"),
              &EndpointAuthn::UserPassCustomizeAuthDataCb),
          std::make_shared<CountingAuthnHandler>(
              std::make_shared<Norn::Authn::TokenHandler>(MakeWrappedLogger("NornHesperJWTHandler")),
              GlobalContext::Get()->GetCounters().api.refusedTokens)};
}

std::shared_ptr<const Mirel::Authz::EntitlementChecker> MakeEntitlementChecker(const LoggerPtr& logger) {
  return std::make_shared<CountingEntitlementChecker>(
      std::make_shared<NornToken::Authz::JwtEntitlementCheckerImpl>(logger),
      GlobalContext::Get()->GetCounters().api.refusedEntitlements);
}

}  // namespace

template <typename Enqueuer>
ProviderPtr CreateLocalProvider(const Enqueuer& enqueuer,
                                const std::shared_ptr<Metadata::Cli::MetadataContainer>& cli,
                                const std::shared_ptr<Metadata::Metamodel::MetadataContainer>& metamodel,
                                const std::shared_ptr<Metadata::Authentication::MetadataContainer>& authn) {
  using Com::Tessaly::Norn::Hesper::GuestDataSvc::AsyncServiceBinder;
  using Com::Tessaly::Norn::Hesper::GuestDataSvc::GuestDataImpl;
  using Container = Mirel::Provider::AsyncApiInterfaceConcurrentContainer<std::mutex>;

  std::list<std::shared_ptr<const Mirel::Provider::AsyncApiInterface>> interfaces;
  interfaces.push_back(
      AsyncServiceBinder::BindImplementation(std::make_shared<GuestDataImpl>(), MakeServiceLocalizer()));
  interfaces.push_back(
      Com::Tessaly::Norn::Hesper::StatsSvc::BindImplementation(std::make_shared<const StatsImpl>()));
  interfaces.splice(interfaces.end(), ProviderHelper::CliInterfaces(cli));
  interfaces.splice(interfaces.end(), ProviderHelper::MetamodelInterfaces(metamodel));
  interfaces.splice(interfaces.end(), ProviderHelper::AuthnInterfaces(authn));

  const auto provider = std::make_shared<Mirel::Provider::AsyncLocalProvider<std::mutex>>(
      enqueuer, Container::GetInstance(interfaces));
  provider->AddIntrospectionServices();

  const auto authzLogger = MakeWrappedLogger("AuthzHandler");
  const auto authzInfo = LoadAuthzInfo(Corvane::Paths::kMetadataFile, authzLogger);
  ProviderPtr head = std::make_shared<Mirel::Authz::Filter::AsyncAuthzFilter>(
      enqueuer, provider, authzInfo, MakeEntitlementChecker(authzLogger), authzLogger);
  // Each filter wraps what is there so far, so that the list's first handler is asked first.
  const auto handlers = MakeAuthnHandlers();
  for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler) {
    head = std::make_shared<Mirel::Authn::Filter::AsyncAuthnFilter>(head, *handler);
  }
  TessalyAudit_Open();
  return std::make_shared<Mirel::Observer::CallRegistrar<AuditRecord>>(head, &WriteAuditRecord);
}

template ProviderPtr CreateLocalProvider<Mirel::Asio::Enqueuer>(
    const Mirel::Asio::Enqueuer&, const std::shared_ptr<Metadata::Cli::MetadataContainer>&,
    const std::shared_ptr<Metadata::Metamodel::MetadataContainer>&,
    const std::shared_ptr<Metadata::Authentication::MetadataContainer>&);

}  // namespace NornHesper
