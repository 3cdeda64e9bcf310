#pragma once

#include <string>
#include <vector>

namespace Mirel {

// A message for people: its identifier, its text with the arguments filled in, and each argument rendered on
// its own, so that a client may render the message again in another language.
struct BaseMessage {
  std::string id;
  std::string defaultMessage;
  std::vector<std::string> args;
};

using MessageList = std::vector<BaseMessage>;

}  // namespace Mirel
