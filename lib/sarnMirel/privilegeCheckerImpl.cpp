#include "lib/sarnMirel/privilegeCheckerImpl.h"

#include <utility>
#include <vector>

#include "framework/authz/asyncAuthzFilter.h"
#include "framework/core/nativeToValueAdapter.h"
#include "framework/provider/errorFactory.h"
#include "framework/provider/localization.h"
#include "framework/provider/messageFormat.h"
#include "lib/sarnMirel/sessionFunctions.h"
#include "platform/corvane/log.h"
#include "platform/corvane/session.h"

namespace SarnMirel::Authz {
namespace {

using Mirel::Authz::MethodCollectionPrivilege;
using Mirel::Authz::MethodCollectionPrivileges;

constexpr const char* kNoPrivileges = "mirel.authz.error.no.privs";
constexpr int kRefusalLevel = 7;

std::string Describe(const MethodCollectionPrivileges& missing) {
  std::string text;
  for (const auto& entry : missing) {
    if (!text.empty()) text += ',';
    text += "object: " + entry.object + " privileges: ";
    const char* separator = "";
    for (const auto& privilege : *entry.privileges) {
      text.append(separator).append(privilege);
      separator = ", ";
    }
  }
  return text;
}

Mirel::Data::ErrorValuePtr MakeRefusal(const MethodCollectionPrivileges& missing) {
  const auto text = Mirel::Message<Mirel::AuthzTag>::DefaultMessageForId(kNoPrivileges);
  const Mirel::MessageList messages{Mirel::MakeMessage(kNoPrivileges, text, Describe(missing))};
  Mirel::Data::DataValuePtr list;
  Mirel::MessageList notes;
  Mirel::Data::NativeToValueAdapter::Adapt(list, Mirel::Data::AdaptMethod<Mirel::MessageList>::Get(),
                                           messages, Mirel::L10n::MakeDefaultRequestLocalizer(), notes);
  return Mirel::Data::ErrorFactory::GetError(Com::Tessaly::Mirel::Std::Errors::Unauthorized(), list);
}

}  // namespace

PrivilegeCheckerImpl::PrivilegeCheckerImpl(Corvane::Ref<Corvane::Service::Logger> logger,
                                           ObjectResolver objectResolver, PrivilegeTest privilegeTest)
    : logger_(std::move(logger)),
      objectResolver_(std::move(objectResolver)),
      privilegeTest_(std::move(privilegeTest)) {}

PrivilegeCheckerImpl::~PrivilegeCheckerImpl() = default;

void PrivilegeCheckerImpl::CheckPrivileges(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                                           const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                           const MethodCollectionPrivileges& privileges,
                                           const Callback& callback) {
  const auto session = SessionFromActivation(activation);
  std::shared_ptr<MethodCollectionPrivileges> failed;
  for (const auto& requirement : privileges) {
    auto missing = Missing(method, session, requirement);
    if (!missing) continue;
    if (!failed) failed = std::make_shared<MethodCollectionPrivileges>();
    failed->push_back({requirement.object, requirement.type, requirement.argument, std::move(missing)});
  }
  callback(failed ? MakeRefusal(*failed) : nullptr, failed);
}

PrivilegeCheckerImpl::Privileges PrivilegeCheckerImpl::Missing(
    const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method, const SessionRef& session,
    const MethodCollectionPrivilege& requirement) const {
  const auto object = objectResolver_(requirement.object, requirement.type);
  if (!requirement.privileges) return nullptr;
  std::shared_ptr<std::vector<std::string>> missing;
  for (const auto& privilege : *requirement.privileges) {
    if (privilegeTest_(method, session, object, privilege)) continue;
    if (!missing) missing = std::make_shared<std::vector<std::string>>();
    missing->push_back(privilege);
    // The object's text is made for the log alone.
    if (logger_->IsEnabled(kRefusalLevel)) {
      Corvane::Service::LogInternal(logger_.get(), kRefusalLevel,
                                    "Result for privilege check on %1 for %2 failed",
                                    object ? object->ToString() : std::string(), privilege);
    }
  }
  return missing;
}

}  // namespace SarnMirel::Authz
