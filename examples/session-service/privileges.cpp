#include "examples/session-service/privileges.h"

#include <sstream>
#include <string>
#include <utility>

#include "lib/sarnMirel/privilegeCheckerImpl.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authorize.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/session.h"

namespace SessionExample {
namespace {

using Corvane::Ref;
using Corvane::Authorize::AuthorizeManager;
using SarnMirel::Authz::PrivilegeCheckerImpl;
using SarnMirel::Authz::ResolvedObject;

// There is one notebook; the privileges on it are kept under its name.
class NamedObject final : public ResolvedObject {
 public:
  explicit NamedObject(std::string name) : name_(std::move(name)) {}
  std::string ToString() const override { return name_; }

 private:
  std::string name_;
};

Ref<AuthorizeManager> Manager() {
  Ref<AuthorizeManager> manager;
  AuthorizeManager::GetInstance(manager);
  return manager;
}

void GrantConfigured() {
  std::string grants;
  Corvane::Service::GetApp()->GetConfig()->ReadString("grants", &grants);
  std::istringstream lines(grants);
  for (std::string grant; lines >> grant;) {
    const auto equals = grant.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Corvane::Exception("grants: expected user=PRIVILEGE,PRIVILEGE instead of " + grant);
    }
    std::istringstream privileges(grant.substr(equals + 1));
    for (std::string privilege; std::getline(privileges, privilege, ',');) {
      Manager()->Grant(grant.substr(0, equals), "notebook", privilege);
    }
  }
}

}  // namespace

std::shared_ptr<Mirel::Authz::PrivilegeChecker> MakePrivilegeChecker() {
  GrantConfigured();
  return std::make_shared<PrivilegeCheckerImpl>(
      Corvane::Service::GetApp()->GetLogger()->CreateLogger("privileges"),
      [](const std::string& object, const std::string&) { return Corvane::MakeRef<NamedObject>(object); },
      [](const auto&, const Ref<Corvane::Session>& session, const Ref<ResolvedObject>& object,
         const std::string& privilege) {
        return Manager()->HasPrivilege(session.get(), object->ToString(), privilege);
      });
}

}  // namespace SessionExample
