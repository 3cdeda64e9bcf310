#include "framework/transport/protocolHandlerSpec.h"

#include "framework/provider/localization.h"
#include "framework/transport/responseHead.h"

namespace Mirel::Transport::Http {

ProtocolHandlerSpec::ProtocolHandlerSpec()
    : localizer(L10n::LocalizerHelpers::GetDefaultLocalizer()), errToHeaders(DefaultErrToHeaders) {}

}  // namespace Mirel::Transport::Http
