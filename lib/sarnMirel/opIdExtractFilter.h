#pragma once

#include <memory>
#include <string>

#include "framework/core/asyncApiProvider.h"

namespace Mirel::Log {
class Logger;
}

namespace SarnMirel::Filter {

// A link of the provider chain that gives each call an operation id, and sets it as "opId" in the thread's
// log context for as long as the call is in the rest of the chain. What a provider does later or on another
// thread is outside. The id begins with the client's own, so that its lines and ours can be put together; of
// an overlong one only the beginning is taken.
class OpIdExtractFilter final : public Mirel::Core::AsyncApiProvider,
                                public std::enable_shared_from_this<OpIdExtractFilter> {
 public:
  // Without a logger nothing is logged.
  OpIdExtractFilter(std::shared_ptr<Mirel::Core::AsyncApiProvider> next,
                    std::shared_ptr<Mirel::Log::Logger> logger);

  // Gives "OpIdExtractFilter".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
              const std::shared_ptr<const Mirel::Data::DataValue>& input,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
              const Mirel::Core::AsyncApiResultCb& result) override;

 private:
  std::shared_ptr<Mirel::Core::AsyncApiProvider> next_;
  std::shared_ptr<Mirel::Log::Logger> logger_;
};

}  // namespace SarnMirel::Filter
