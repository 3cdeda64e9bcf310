#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "framework/authz/privilegeChecker.h"
#include "platform/corvane/object.h"

namespace Corvane {
class Session;
}
namespace Corvane::Service {
class Logger;
}

namespace SarnMirel::Authz {

// What the object of a requirement stands for on the host.
class ResolvedObject : public Corvane::ObjectImpl {
 public:
  // For logs.
  virtual std::string ToString() const = 0;
};

// Checks privileges with the caller's session. How objects are found and privileges tested say the two
// callables, which are used from any thread at once. Immutable.
class PrivilegeCheckerImpl final : public Mirel::Authz::PrivilegeChecker {
 public:
  // May give null, which goes to the test like any other object.
  using ObjectResolver =
      std::function<Corvane::Ref<ResolvedObject>(const std::string& object, const std::string& type)>;
  // Whether the session holds the privilege on the object. The session is null for a call without one.
  using PrivilegeTest =
      std::function<bool(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                         const Corvane::Ref<Corvane::Session>& session,
                         const Corvane::Ref<ResolvedObject>& object, const std::string& privilege)>;

  PrivilegeCheckerImpl(Corvane::Ref<Corvane::Service::Logger> logger, ObjectResolver objectResolver,
                       PrivilegeTest privilegeTest);
  ~PrivilegeCheckerImpl() override;

  // Tests every privilege of every requirement, so that a refusal names all that is missing. It has called
  // back when it returns; an exception of a callable passes through, and then it has not.
  void CheckPrivileges(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                       const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                       const Mirel::Authz::MethodCollectionPrivileges& privileges,
                       const Callback& callback) override;

 private:
  using Privileges = std::shared_ptr<const std::vector<std::string>>;

  // The privileges of one requirement that the session does not hold; null when it holds them all.
  Privileges Missing(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                     const Corvane::Ref<Corvane::Session>& session,
                     const Mirel::Authz::MethodCollectionPrivilege& requirement) const;

  Corvane::Ref<Corvane::Service::Logger> logger_;
  ObjectResolver objectResolver_;
  PrivilegeTest privilegeTest_;
};

}  // namespace SarnMirel::Authz
