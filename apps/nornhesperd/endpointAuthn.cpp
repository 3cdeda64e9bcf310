#include "apps/nornhesperd/endpointAuthn.h"

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "lib/token/tokenHandler.h"
#include "platform/corvane/authenticate.h"

namespace NornHesper {

Corvane::Ref<Corvane::System::AuthTokenHelper> Authenticate(const std::string& user,
                                                            const std::string& password) {
  Corvane::Ref<Corvane::System::AuthTokenHelper> token;
  if (!Corvane::System::AuthenticateUser(user, password, token)) {
    GlobalContext::Get()->GetCounters().api.refusedPasswords.Add();
  }
  return token;
}

bool EndpointAuthn::UserPassCustomizeAuthDataCb(Corvane::System::AuthTokenHelper* token,
                                                const Mirel::Data::StructValuePtr& authData) {
  const auto& name = token->GetUserName();
  if (name != "root") {
    GlobalContext::Get()->GetCounters().api.refusedUsers.Add();
    HESPER_LOG(6, "User %1, permission denied", name);
    return false;
  }
  const auto entitlements = Mirel::Data::ListValue::GetInstance();
  entitlements->Add(Mirel::Data::DataValue::Create("GUEST_DATA_ACCESS"));
  authData->SetField(Norn::Authn::TokenHandler::ENTITLEMENTS_GRANTS, entitlements);
  return true;
}

}  // namespace NornHesper
