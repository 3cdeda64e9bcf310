#include "lib/token/jwtEntitlementChecker.h"

#include <algorithm>
#include <utility>

#include "framework/core/dataValue.h"
#include "lib/token/tokenHandler.h"

namespace NornToken::Authz {
namespace {

using Mirel::Data::DataType;
using Mirel::Data::DataValue;

// Null when the authentication data has no list of grants.
std::shared_ptr<const Mirel::Data::ListValue> FindGrants(const DataValue& authData) {
  if (authData.type() != DataType::Structure) return nullptr;
  const auto& fields = static_cast<const Mirel::Data::StructValue&>(authData);
  const auto grants = fields.GetField(Norn::Authn::TokenHandler::ENTITLEMENTS_GRANTS);
  if (!grants || grants->type() != DataType::List) return nullptr;
  return std::static_pointer_cast<const Mirel::Data::ListValue>(grants);
}

bool IsOneOf(const Mirel::Data::DataValuePtr& grant, const std::set<std::string>& demanded) {
  return grant && grant->type() == DataType::String &&
         demanded.count(static_cast<const Mirel::Data::StringValue&>(*grant).value()) != 0;
}

}  // namespace

JwtEntitlementCheckerImpl::JwtEntitlementCheckerImpl(std::shared_ptr<Mirel::Log::Logger> logger)
    : logger_(std::move(logger)) {}

bool JwtEntitlementCheckerImpl::IsEntitled(const DataValue& authData,
                                           const std::set<std::string>& demanded) const {
  const auto grants = FindGrants(authData);
  if (!grants) {
    Write(logger_, Mirel::Log::SeverityLevel::Debug, "The caller's login brings no entitlements");
    return false;
  }
  const auto& elements = grants->elements();
  return std::any_of(elements.begin(), elements.end(),
                     [&](const auto& grant) { return IsOneOf(grant, demanded); });
}

}  // namespace NornToken::Authz
