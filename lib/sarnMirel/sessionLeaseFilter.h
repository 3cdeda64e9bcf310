#pragma once

#include <functional>
#include <memory>
#include <string>

#include "framework/core/asyncApiProvider.h"

namespace Mirel::Log {
class Logger;
}

namespace SarnMirel::Filter {

// A link of the provider chain that holds a lease on the caller's session while a call runs, so that the
// session does not expire under it. Calls without a session pass; for a session that has ended the answer is
// Unauthenticated.
//
// Each report of the provider gives a lease back: a provider must report once a call. A call that is dropped
// or thrown out without any report gives its lease back when its callback dies.
class SessionLeaseFilter final : public Mirel::Core::AsyncApiProvider,
                                 public std::enable_shared_from_this<SessionLeaseFilter> {
 public:
  // Runs a task later. Requires: not empty when a session has ended.
  using Executor = std::function<void(std::function<void()>)>;

  // Without a logger nothing is logged.
  SessionLeaseFilter(Executor executor, std::shared_ptr<Mirel::Core::AsyncApiProvider> next,
                     std::shared_ptr<Mirel::Log::Logger> logger);

  // Gives "SessionLeaseFilter".
  std::string ToString() const override;

  void Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
              const std::shared_ptr<const Mirel::Data::DataValue>& input,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
              const Mirel::Core::AsyncApiResultCb& result) override;

 private:
  class Lease;

  Executor executor_;
  std::shared_ptr<Mirel::Core::AsyncApiProvider> next_;
  std::shared_ptr<Mirel::Log::Logger> logger_;
};

}  // namespace SarnMirel::Filter
