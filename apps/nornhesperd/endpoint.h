#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "apps/nornhesperd/endpointAuthn.h"
#include "apps/nornhesperd/result.h"
#include "framework/metadata/metadataContainer.h"

namespace Mirel::Transport::PicoHttp {
class AsioTcpApiServer;
}

namespace NornHesper {

// The daemon's API side: the service's metadata, the chain of providers that every call passes, and the HTTP
// server on the two loopback addresses. Started once, on the main thread, before the I/O context runs; there
// is no stop.
class NornHesperApi final : public EndpointAuthn {
 public:
  explicit NornHesperApi(std::uint16_t port);

  // A daemon that can listen on neither address, or whose service descriptions can't be read, runs on and
  // takes guest data; without its authorization table it ends.
  void Start();

 private:
  std::uint16_t port_;
  std::shared_ptr<Mirel::Transport::PicoHttp::AsioTcpApiServer> server_;
};

// Each one fills its container from the file, and logs what is wrong with it.
Result LoadCliFile(const std::string& component, const std::string& fileName,
                   const std::shared_ptr<Mirel::Provider::Metadata::Cli::MetadataContainer>& container);
Result LoadMetamodelFile(
    const std::string& component, const std::string& fileName,
    const std::shared_ptr<Mirel::Provider::Metadata::Metamodel::MetadataContainer>& container);
Result LoadAuthnFile(
    const std::string& component, const std::string& fileName,
    const std::shared_ptr<Mirel::Provider::Metadata::Authentication::MetadataContainer>& container);

}  // namespace NornHesper
