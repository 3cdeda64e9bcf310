#include "apps/nornhesperd/endpoint.h"

#include <fstream>
#include <list>
#include <mutex>
#include <utility>

#include <boost/asio/ip/tcp.hpp>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/guestDataImpl.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/messageCatalogue.h"
#include "apps/nornhesperd/mirelLogAdapter.h"
#include "bindings/guestDataService.h"
#include "framework/authz/authzInfo.h"
#include "framework/authz/loadAuthzInfoMetadata.h"
#include "framework/metadata/metadataContainer.h"
#include "framework/metadata/providerHelper.h"
#include "framework/provider/asyncApiInterfaceConcurrentContainer.h"
#include "framework/provider/asyncLocalProvider.h"
#include "framework/provider/enqueuer.h"
#include "framework/provider/localization.h"
#include "framework/transport/asioTcpApiServer.h"
#include "lib/sarnMirel/corvaneWrapLogger.h"
#include "platform/corvane/log.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/paths.h"

namespace NornHesper {
namespace {

namespace Metadata = Mirel::Provider::Metadata;
using Metadata::ProviderHelper;
using Mirel::Log::SeverityLevel;

constexpr const char kComponent[] = "com.tessaly.norn.hesper";
constexpr std::chrono::nanoseconds kReadTimeout = std::chrono::minutes(20);
constexpr std::chrono::nanoseconds kWriteTimeout = std::chrono::minutes(30);
constexpr std::uint64_t kBodySizeLimit = 2500000;

/// Runs one of the platform's loaders. A failure is told in the log and in the result, and does not end the
/// start: the daemon then goes without that description.
template <typename Load, typename Container>
Result LoadFile(const std::string& kind, Load load, const std::string& component, const std::string& fileName,
                const Container& container) {
  HESPER_LOG(6, "Loading " + kind + " metadata %1 from %2", component, fileName);
  Result result;
  if (const auto error = load(component, fileName, container)) {
    HESPER_FAIL(result, kErrorMetadata, "Error loading " + kind + " %1 from %2 : %3", component, fileName,
                error->ToString());
  }
  return result;
}

std::shared_ptr<Mirel::Log::Logger> MakeWrappedLogger(const char* name) {
  return std::make_shared<SarnMirel::CorvaneWrapLoggger>(
      Corvane::Service::Logger::sDefaultLogger->CreateLogger(name));
}

/// The localizer of the daemon's own messages.
std::shared_ptr<const Mirel::L10n::Localizer> MakeServiceLocalizer() {
  return std::make_shared<const Mirel::L10n::Localizer>(
      std::list<std::string>{"en_US"}, &MessageCatalogueLookup,
      Mirel::L10n::LocalizerHelpers::GetDefaultFormatter(), Mirel::L10n::LocalizerSpec{});
}

/// Which operation demands which entitlement. A daemon that does not know who may do what does not run.
std::shared_ptr<Mirel::Authz::AuthzInfo> LoadAuthzInfo(const std::string& fileName,
                                                       const std::shared_ptr<Mirel::Log::Logger>& logger) {
  auto info = std::make_shared<Mirel::Authz::AuthzInfo>();
  Mirel::Log::Write(logger, SeverityLevel::Info, "Loading authz metadata file:", fileName);
  std::ifstream file(fileName);
  Mirel::MessageList messages;
  const bool loaded =
      file.is_open() && Mirel::Authz::Metadata::LoadAuthzInfoMetadata::Load(file, info, logger, messages);
  if (!loaded)
    Mirel::Log::Write(logger, SeverityLevel::Error, "Error loading authz metadata file:", fileName);
  file.close();
  VERIFY(loaded);
  return info;
}

}  // namespace

Result LoadCliFile(const std::string& component, const std::string& fileName,
                   const std::shared_ptr<Metadata::Cli::MetadataContainer>& container) {
  return LoadFile("CLI", ProviderHelper::LoadCliMetadataFile, component, fileName, container);
}

Result LoadMetamodelFile(const std::string& component, const std::string& fileName,
                         const std::shared_ptr<Metadata::Metamodel::MetadataContainer>& container) {
  return LoadFile("Model", ProviderHelper::LoadMetamodelMetadataFile, component, fileName, container);
}

Result LoadAuthnFile(const std::string& component, const std::string& fileName,
                     const std::shared_ptr<Metadata::Authentication::MetadataContainer>& container) {
  return LoadFile("Authn", ProviderHelper::LoadAuthnMetadataFile, component, fileName, container);
}

template <typename Enqueuer>
std::shared_ptr<Mirel::Core::AsyncApiProvider> CreateLocalProvider(
    const Enqueuer& enqueuer, std::shared_ptr<Metadata::Cli::MetadataContainer> cli,
    std::shared_ptr<Metadata::Metamodel::MetadataContainer> metamodel,
    std::shared_ptr<Metadata::Authentication::MetadataContainer> authn) {
  using Com::Tessaly::Norn::Hesper::GuestDataSvc::AsyncServiceBinder;
  using Com::Tessaly::Norn::Hesper::GuestDataSvc::GuestDataImpl;
  using Container = Mirel::Provider::AsyncApiInterfaceConcurrentContainer<std::mutex>;

  std::list<std::shared_ptr<const Mirel::Provider::AsyncApiInterface>> interfaces;
  interfaces.push_back(
      AsyncServiceBinder::BindImplementation(std::make_shared<GuestDataImpl>(), MakeServiceLocalizer()));
  interfaces.splice(interfaces.end(), ProviderHelper::CliInterfaces(cli));
  interfaces.splice(interfaces.end(), ProviderHelper::MetamodelInterfaces(metamodel));
  interfaces.splice(interfaces.end(), ProviderHelper::AuthnInterfaces(authn));

  const auto provider = std::make_shared<Mirel::Provider::AsyncLocalProvider<std::mutex>>(
      enqueuer, Container::GetInstance(interfaces));
  provider->AddIntrospectionServices();

  const auto authzInfo = LoadAuthzInfo(Corvane::Paths::kMetadataFile, MakeWrappedLogger("AuthzHandler"));

  // Every call passes the chain from its head; further links are wrapped around the provider here, the
  // innermost first: authorization by authzInfo, token, user and password, audit.
  return provider;
}

template std::shared_ptr<Mirel::Core::AsyncApiProvider> CreateLocalProvider<Mirel::Asio::Enqueuer>(
    const Mirel::Asio::Enqueuer&, std::shared_ptr<Metadata::Cli::MetadataContainer>,
    std::shared_ptr<Metadata::Metamodel::MetadataContainer>,
    std::shared_ptr<Metadata::Authentication::MetadataContainer>);

NornHesperApi::NornHesperApi(std::uint16_t port) : port_(port) {}

void NornHesperApi::Start() {
  const auto cli = Metadata::Cli::MetadataContainer::GetInstance();
  const auto metamodel = Metadata::Metamodel::MetadataContainer::GetInstance();
  const auto authn = Metadata::Authentication::MetadataContainer::GetInstance();
  LoadCliFile(kComponent, Corvane::Paths::kMetadataFile, cli);
  LoadMetamodelFile(kComponent, Corvane::Paths::kMetadataFile, metamodel);
  LoadAuthnFile(kComponent, Corvane::Paths::kMetadataFile, authn);

  auto& io = GlobalContext::Get()->GetIoService();
  const Mirel::Asio::Enqueuer enqueuer(io);
  const auto head = CreateLocalProvider(enqueuer, cli, metamodel, authn);

  using boost::asio::ip::make_address;
  using Server = Mirel::Transport::PicoHttp::AsioTcpApiServer;
  Mirel::Transport::PicoHttp::ServerConfig config;
  config.readTimeout = kReadTimeout;
  config.writeTimeout = kWriteTimeout;
  config.httpBodySizeLimitInBytes = kBodySizeLimit;
  config.spec.localizer = Mirel::L10n::LocalizerHelpers::GetDefaultLocalizer();
  config.spec.httpBodySizeLimitInBytes = kBodySizeLimit;
  server_ = std::make_shared<Server>(io, Server::Endpoint(make_address("127.0.0.1"), port_),
                                     Server::Endpoint(make_address("::1"), port_), head, enqueuer,
                                     std::make_shared<MirelLogAdapter>(), nullptr, config);
  // Nobody looks at the answer: without a listener the daemon still takes guest data, and the log has the
  // reason.
  server_->Start();
}

}  // namespace NornHesper
