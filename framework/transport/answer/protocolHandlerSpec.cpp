#include "framework/transport/answer/protocolHandlerSpec.h"

#include "framework/provider/localization.h"
#include "framework/transport/answer/responseHead.h"

namespace Mirel::Transport::Http {

ProtocolHandlerSpec::ProtocolHandlerSpec()
    : localizer(L10n::LocalizerHelpers::GetDefaultLocalizer()), errToHeaders(DefaultErrToHeaders) {}

}  // namespace Mirel::Transport::Http
