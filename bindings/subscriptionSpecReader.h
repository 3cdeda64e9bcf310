#pragma once

#include "bindings/guestDataTypes.h"

namespace Com::Tessaly::Norn::Hesper {

// Reads the arguments of the operation "subscribe". An unknown field is refused: a misspelt filter must not
// turn into a subscription to everything. Throws ::Mirel::Provider::ArgumentError, which names the place.
SubscriptionSpec ReadSubscribeArguments(const ::Mirel::Data::DataValuePtr& input);

}  // namespace Com::Tessaly::Norn::Hesper
