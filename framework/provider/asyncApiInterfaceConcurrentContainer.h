#pragma once

#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/dataValue.h"
#include "framework/provider/asyncApiInterface.h"

namespace Mirel::Provider {

// The services of a provider by name. Every operation is safe on any thread. The lock is the caller's choice,
// so it has no annotations for clang's analysis.
template <typename Mutex>
class AsyncApiInterfaceConcurrentContainer {
 public:
  // Of two interfaces of one name the first one stays.
  static std::shared_ptr<AsyncApiInterfaceConcurrentContainer> GetInstance(
      const std::list<std::shared_ptr<const AsyncApiInterface>>& interfaces);

  // Gives false, with a message, when the service's name is taken.
  bool Add(const std::shared_ptr<const AsyncApiInterface>& interface, MessageList& messages);

  // Gives false, with a message, when there is no such service.
  bool Lookup(const Core::MethodIdentifier& method, std::shared_ptr<const AsyncApiInterface>& interface,
              MessageList& messages) const;

  // In the order of their names.
  std::vector<std::shared_ptr<const AsyncApiInterface>> Interfaces() const;

 private:
  mutable Mutex mutex_;
  std::map<std::string, std::shared_ptr<const AsyncApiInterface>, std::less<>> interfaces_;
};

extern template class AsyncApiInterfaceConcurrentContainer<std::mutex>;

}  // namespace Mirel::Provider
