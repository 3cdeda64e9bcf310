#pragma once

#include <memory>
#include <string>

#include "framework/provider/enqueuer.h"

namespace Mirel::Core {
class AsyncApiProvider;
}

namespace SessionExample {

// Builds the chain that every call passes, and gives its head: the operation id, who the caller is (see
// MakeAuthnHandlers), what the caller may do, a lease on the caller's session, and the services. Throws
// Corvane::Exception when the description of who may do what can't be read.
std::shared_ptr<Mirel::Core::AsyncApiProvider> BuildProviderChain(const Mirel::Asio::Enqueuer& enqueuer,
                                                                  const std::string& metadataFile);

}  // namespace SessionExample
