#include "bindings/statsService.h"

#include <utility>

#include "bindings/statsAdapter.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/provider/localization.h"
#include "framework/provider/simpleInterface.h"

namespace Com::Tessaly::Norn::Hesper::StatsSvc {
namespace {

using ::Mirel::Core::MethodResult;
using ::Mirel::Data::DataValuePtr;

void ExpectNoArguments(const DataValuePtr& input) {
  const auto* arguments = dynamic_cast<const ::Mirel::Data::StructValue*>(input.get());
  if (arguments && arguments->fields().empty()) return;
  throw ::Mirel::Provider::ArgumentError("input: expected a structure without fields");
}

std::shared_ptr<const MethodResult> ToResult(const Stats& stats) {
  DataValuePtr value;
  ::Mirel::MessageList notes;
  ::Mirel::Data::NativeToValueAdapter::Adapt(value, ::Mirel::Data::AdaptMethod<Stats>::Get(), stats,
                                             ::Mirel::L10n::MakeDefaultRequestLocalizer(), notes);
  return MethodResult::GetInstance(std::move(value));
}

}  // namespace

std::shared_ptr<const ::Mirel::Provider::AsyncApiInterface> BindImplementation(
    std::shared_ptr<const ServiceInterface> implementation) {
  using ::Mirel::Provider::SimpleInterface;
  const SimpleInterface::Function get = [implementation =
                                             std::move(implementation)](const DataValuePtr& input) {
    ExpectNoArguments(input);
    return ToResult(implementation->Get());
  };
  return std::make_shared<const SimpleInterface>(
      "com.tessaly.norn.hesper.stats", std::map<std::string, SimpleInterface::Function>{{"get", get}});
}

}  // namespace Com::Tessaly::Norn::Hesper::StatsSvc
