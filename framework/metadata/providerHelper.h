#pragma once

#include <list>
#include <memory>
#include <string>

#include "framework/core/dataValue.h"
#include "framework/metadata/metadataContainer.h"

namespace Mirel::Provider {
class AsyncApiInterface;
}

namespace Mirel::Provider::Metadata {

// Loads a component's metadata file (JSON, RFC 8259) and makes the services that answer from it.
struct ProviderHelper {
  using InterfaceList = std::list<std::shared_ptr<const AsyncApiInterface>>;

  // Each one fills the container from its section of the file. The section is checked first, together with
  // the model that it refers to; on any fault the container is left empty and the error names the place by a
  // JSON pointer (RFC 6901). Null on success.
  static Data::ErrorValuePtr LoadCliMetadataFile(const std::string& component, const std::string& fileName,
                                                 const std::shared_ptr<Cli::MetadataContainer>& container);
  static Data::ErrorValuePtr LoadMetamodelMetadataFile(
      const std::string& component, const std::string& fileName,
      const std::shared_ptr<Metamodel::MetadataContainer>& container);
  static Data::ErrorValuePtr LoadAuthnMetadataFile(
      const std::string& component, const std::string& fileName,
      const std::shared_ptr<Authentication::MetadataContainer>& container);

  // The read-only services over a container: "list" gives identifiers, "get" a description, "fingerprint"
  // the section's fingerprint.
  static InterfaceList CliInterfaces(const std::shared_ptr<const Cli::MetadataContainer>& container);
  static InterfaceList MetamodelInterfaces(
      const std::shared_ptr<const Metamodel::MetadataContainer>& container);
  static InterfaceList AuthnInterfaces(
      const std::shared_ptr<const Authentication::MetadataContainer>& container);
};

}  // namespace Mirel::Provider::Metadata
