#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/core/dataValue.h"

namespace Mirel::Core {
class AsyncActivation;
struct MethodIdentifier;
}  // namespace Mirel::Core

namespace Mirel::Authz {

// One requirement of an operation: the privileges that its caller needs on an object.
struct MethodCollectionPrivilege {
  std::string object;
  std::string type;      // the kind of object, as the service's resolver knows it
  std::string argument;  // the call's argument that named the object; empty when the metadata did
  std::shared_ptr<const std::vector<std::string>> privileges;
};

using MethodCollectionPrivileges = std::vector<MethodCollectionPrivilege>;

// Knows whether a caller holds privileges on objects.
class PrivilegeChecker {
 public:
  // An error and the requirements that were not met, each with the missing privileges alone; or twice null.
  using Callback = std::function<void(const Data::ErrorValuePtr& refusal,
                                      const std::shared_ptr<const MethodCollectionPrivileges>& missing)>;

  // Calls back exactly once, on any thread, unless an exception comes out.
  virtual void CheckPrivileges(const std::shared_ptr<const Core::MethodIdentifier>& method,
                               const std::shared_ptr<Core::AsyncActivation>& activation,
                               const MethodCollectionPrivileges& privileges, const Callback& callback) = 0;
  virtual ~PrivilegeChecker() = default;
};

}  // namespace Mirel::Authz
