#include "bindings/sessionAdapter.h"

namespace Mirel::Data {

using Com::Tessaly::Ombra::SessionSvc::Info;

AdaptFunction<Info> AdaptMethod<Info>::Get() {
  return [](const Info& native, const L10n::RequestLocalizer&, MessageList&) -> DataValuePtr {
    auto value = StructValue::GetInstance(Info::kStructureName);
    value->AppendField("user", DataValue::Create(native.user));
    value->AppendField("created_time", DataValue::Create(native.createdTime.ToString()));
    value->AppendField("last_accessed_time", DataValue::Create(native.lastAccessedTime.ToString()));
    return value;
  };
}

}  // namespace Mirel::Data
