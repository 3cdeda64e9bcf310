#include "lib/sarnMirel/userPassHandler.h"

#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "framework/core/nativeToValueAdapter.h"
#include "framework/provider/localization.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/log.h"

namespace SarnMirel::Authn {

UserPassHandler::UserPassHandler(Authenticate authenticate, Corvane::Ref<Corvane::Service::Logger> logger,
                                 CustomizeAuthData customizeAuthData)
    : authenticate_(std::move(authenticate)),
      logger_(std::move(logger)),
      customizeAuthData_(std::move(customizeAuthData)) {}

UserPassHandler::~UserPassHandler() = default;

void UserPassHandler::AsyncAuthenticate(const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                        Callback callback) {
  const Mirel::Core::UserPassSecurityContextReader reader(activation->executionContext()->securityContext);
  callback(reader ? LogIn(reader.userName(), reader.password()) : nullptr);
}

Mirel::Data::DataValuePtr UserPassHandler::LogIn(const std::string& user,
                                                 Corvane::WipedString password) const {
  const auto token = authenticate_(user, password.text());
  password = {};
  if (!token) return MakeUnauthenticatedError();
  const auto authData = Mirel::Data::StructValue::GetInstance("CorvaneUserPass");
  authData->SetField("username", Mirel::Data::DataValue::Create(user));
  if (customizeAuthData_ && !customizeAuthData_(token.get(), authData)) return MakeUnauthenticatedError();
  return authData;
}

std::shared_ptr<const Mirel::Data::ErrorValue> MakeUnauthenticatedError() {
  using Com::Tessaly::Mirel::Std::Errors::Unauthenticated;
  Mirel::Data::DataValuePtr value;
  Mirel::MessageList notes;
  Mirel::Data::NativeToValueAdapter::Adapt(value, Mirel::Data::AdaptMethod<Unauthenticated>::Get(),
                                           Unauthenticated(), Mirel::L10n::MakeDefaultRequestLocalizer(),
                                           notes);
  if (!value || value->type() != Mirel::Data::DataType::Error) return nullptr;
  return std::static_pointer_cast<const Mirel::Data::ErrorValue>(value);
}

}  // namespace SarnMirel::Authn
