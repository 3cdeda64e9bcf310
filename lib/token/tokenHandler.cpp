#include "lib/token/tokenHandler.h"

#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "framework/core/stdErrors.h"
#include "framework/provider/errorFactory.h"
#include "lib/token/tokenVerifier.h"
#include "platform/corvane/paths.h"

namespace Norn::Authn {
namespace {

using Mirel::Core::SecurityContext;
using Mirel::Data::DataValue;
using Mirel::Data::DataValuePtr;
using Mirel::Data::ListValue;
using NornToken::KeyFile;
using NornToken::TokenVerifier;

// Null when there is no such entry.
const std::string* Find(const SecurityContext& context, const char* key) {
  const auto entry = context.find(key);
  return entry == context.end() ? nullptr : &entry->second.text();
}

DataValuePtr MakeAuthData(const NornToken::TokenIdentity& identity) {
  const auto entitlements = ListValue::GetInstance();
  for (const auto& name : identity.entitlements) entitlements->Add(DataValue::Create(name));
  const auto authData = Mirel::Data::StructValue::GetInstance("NornToken");
  authData->SetField("username", DataValue::Create(identity.subject));
  authData->SetField(TokenHandler::ENTITLEMENTS_GRANTS, entitlements);
  return authData;
}

DataValuePtr MakeRefusal() {
  return Mirel::Data::ErrorFactory::GetError(Com::Tessaly::Mirel::Std::Errors::Unauthenticated(),
                                             ListValue::GetInstance());
}

}  // namespace

TokenHandler::TokenHandler(const std::shared_ptr<Mirel::Log::Logger>& logger)
    : TokenHandler(logger, std::make_unique<TokenVerifier>(
                               std::make_unique<KeyFile>(Corvane::Paths::kTokenKeysFile, logger))) {}

TokenHandler::TokenHandler(const std::shared_ptr<Mirel::Log::Logger>& logger,
                           std::unique_ptr<TokenVerifier> verifier)
    : logger_(logger), verifier_(std::move(verifier)) {}

TokenHandler::~TokenHandler() = default;

void TokenHandler::AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                     Callback callback) {
  const auto& context = activation->executionContext()->securityContext;
  const auto* scheme = Find(context, Mirel::Core::Security::kSchemeIdKey);
  if (scheme == nullptr || *scheme != Mirel::Core::Security::kBearerTokenScheme) return callback(nullptr);
  const auto* token = Find(context, Mirel::Core::Security::kTokenKey);
  const auto verdict = verifier_->Verify(token == nullptr ? std::string_view() : std::string_view(*token));
  if (const auto* identity = std::get_if<NornToken::TokenIdentity>(&verdict)) {
    return callback(MakeAuthData(*identity));
  }
  Write(logger_, Mirel::Log::SeverityLevel::Info,
        "Token refused: ", std::get<NornToken::Refusal>(verdict).reason);
  callback(MakeRefusal());
}

}  // namespace Norn::Authn
