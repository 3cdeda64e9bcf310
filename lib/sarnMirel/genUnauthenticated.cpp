#include "lib/sarnMirel/genUnauthenticated.h"

#include <utility>

#include "framework/core/nativeToValueAdapter.h"
#include "framework/provider/errorFactory.h"
#include "framework/provider/localization.h"

namespace SarnMirel::Filter {

GenUnauthenticated::GenUnauthenticated(Mirel::Core::AsyncApiResultCb result, Mirel::MessageList messages)
    : result_(std::move(result)), messages_(std::move(messages)) {}

void GenUnauthenticated::operator()() const {
  using Com::Tessaly::Mirel::Std::Errors::Unauthenticated;
  using Mirel::Data::AdaptMethod;
  Mirel::Data::DataValuePtr list;
  Mirel::MessageList notes;
  Mirel::Data::NativeToValueAdapter::Adapt(list, AdaptMethod<Mirel::MessageList>::Get(), messages_,
                                           Mirel::L10n::MakeDefaultRequestLocalizer(), notes);
  auto error = Mirel::Data::ErrorFactory::GetError(Unauthenticated(), list);
  result_(Mirel::Core::MethodResult::GetErrorInstance(std::move(error)), Mirel::Progress{}, nullptr);
}

}  // namespace SarnMirel::Filter
