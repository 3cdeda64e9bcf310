#include "apps/nornhesperd/endpoint.h"

#include <utility>

#include <boost/asio/ip/tcp.hpp>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/mirelLogAdapter.h"
#include "apps/nornhesperd/providerChain.h"
#include "framework/metadata/providerHelper.h"
#include "framework/provider/enqueuer.h"
#include "framework/provider/localization.h"
#include "framework/transport/asioTcpApiServer.h"
#include "platform/corvane/paths.h"

namespace NornHesper {
namespace {

namespace Metadata = Mirel::Provider::Metadata;
using Metadata::ProviderHelper;

constexpr const char kComponent[] = "com.tessaly.norn.hesper";
constexpr std::chrono::nanoseconds kReadTimeout = std::chrono::minutes(20);
constexpr std::chrono::nanoseconds kWriteTimeout = std::chrono::minutes(30);
constexpr std::uint64_t kBodySizeLimit = 2500000;

// Runs one of the platform's loaders. A failure is in the log and in the result, and does not end the
// start: the daemon then goes without that description.
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
  config.connections = GlobalContext::Get()->GetConnections();
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
