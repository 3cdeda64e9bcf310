#pragma once

#include <memory>

#include "framework/metadata/metadataContainer.h"

namespace Mirel::Core {
class AsyncApiProvider;
}

namespace NornHesper {

// Builds the chain of providers that every call passes, and gives its head. A call meets, in this order: the
// audit, the check of user and password, the check of a token, the authorization, and the provider that
// finds the operation. Ends the process when the authorization table can't be loaded.
template <typename Enqueuer>
std::shared_ptr<Mirel::Core::AsyncApiProvider> CreateLocalProvider(
    const Enqueuer& enqueuer, const std::shared_ptr<Mirel::Provider::Metadata::Cli::MetadataContainer>& cli,
    const std::shared_ptr<Mirel::Provider::Metadata::Metamodel::MetadataContainer>& metamodel,
    const std::shared_ptr<Mirel::Provider::Metadata::Authentication::MetadataContainer>& authn);

}  // namespace NornHesper
