#pragma once

#include "bindings/guestDataTypes.h"

namespace Com::Tessaly::Norn::Hesper {

// Reads the arguments of the operation "subscribe". An unknown field is refused, since a misspelt filter
// would be a subscription to everything. Throws ::Mirel::Provider::ArgumentError, which names the place.
SubscriptionSpec ReadSubscribeArguments(const ::Mirel::Data::DataValuePtr& input);

}  // namespace Com::Tessaly::Norn::Hesper
