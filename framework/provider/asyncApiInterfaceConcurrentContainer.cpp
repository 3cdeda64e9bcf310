#include "framework/provider/asyncApiInterfaceConcurrentContainer.h"

#include "framework/core/l10n.h"
#include "framework/provider/messageFormat.h"

namespace Mirel::Provider {
namespace {

BaseMessage ServiceMessage(const std::string& id, const std::string& service) {
  return MakeMessage(id, Message<CoreTag>::DefaultMessageForId(id), service);
}

}  // namespace

template <typename Mutex>
std::shared_ptr<AsyncApiInterfaceConcurrentContainer<Mutex>>
AsyncApiInterfaceConcurrentContainer<Mutex>::GetInstance(
    const std::list<std::shared_ptr<const AsyncApiInterface>>& interfaces) {
  auto container = std::make_shared<AsyncApiInterfaceConcurrentContainer>();
  MessageList ignored;
  for (const auto& interface : interfaces) container->Add(interface, ignored);
  return container;
}

template <typename Mutex>
bool AsyncApiInterfaceConcurrentContainer<Mutex>::Add(
    const std::shared_ptr<const AsyncApiInterface>& interface, MessageList& messages) {
  const std::lock_guard lock(mutex_);
  const bool added = interfaces_.emplace(interface->ServiceName(), interface).second;
  if (!added) messages.push_back(ServiceMessage("mirel.service.duplicate", interface->ServiceName()));
  return added;
}

template <typename Mutex>
bool AsyncApiInterfaceConcurrentContainer<Mutex>::Lookup(const Core::MethodIdentifier& method,
                                                         std::shared_ptr<const AsyncApiInterface>& interface,
                                                         MessageList& messages) const {
  {
    const std::lock_guard lock(mutex_);
    const auto found = interfaces_.find(method.service);
    if (found != interfaces_.end()) {
      interface = found->second;
      return true;
    }
  }
  messages.push_back(ServiceMessage("mirel.service.not.found", method.service));
  return false;
}

template <typename Mutex>
std::vector<std::shared_ptr<const AsyncApiInterface>>
AsyncApiInterfaceConcurrentContainer<Mutex>::Interfaces() const {
  std::vector<std::shared_ptr<const AsyncApiInterface>> all;
  const std::lock_guard lock(mutex_);
  all.reserve(interfaces_.size());
  for (const auto& [name, interface] : interfaces_) all.push_back(interface);
  return all;
}

template class AsyncApiInterfaceConcurrentContainer<std::mutex>;

}  // namespace Mirel::Provider
