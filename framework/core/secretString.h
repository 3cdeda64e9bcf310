#pragma once

#include "platform/corvane/wipedString.h"

namespace Mirel {

// A text that a client needs and nobody else may see, such as the identifier of a session.
using SecretString = Corvane::WipedString;

// What an operation without a value answers.
struct Void {};

}  // namespace Mirel
