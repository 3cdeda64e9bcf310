#pragma once

#include <string_view>
#include <variant>

#include "guest/agent/intake/refusal.h"
#include "guest/agent/keeping/item.h"

namespace GuestAgent {

// Reads the JSON text (RFC 8259) of a datagram from a local program; docs/guest-agent.md has its members.
// What it takes in memory is about the text's own size, whatever is in it. The item has no owner yet.
std::variant<Item, Refusal> ReadRequest(std::string_view text);

}  // namespace GuestAgent
