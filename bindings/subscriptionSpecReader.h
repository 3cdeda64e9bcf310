#pragma once

#include <stdexcept>
#include <string>

#include "bindings/guestDataTypes.h"

namespace Com::Tessaly::Norn::Hesper {

/// An argument does not have the form that the service's metadata gives it; what() names its place.
class UnexpectedArgument : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads the arguments of the operation "subscribe". An unknown field is refused: a misspelt filter must not
/// turn into a subscription to everything. Throws UnexpectedArgument.
SubscriptionSpec ReadSubscribeArguments(const Mirel::Data::DataValue& input);

}  // namespace Com::Tessaly::Norn::Hesper
