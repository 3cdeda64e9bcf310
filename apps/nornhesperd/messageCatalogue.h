#pragma once

#include <string>
#include <string_view>
#include <system_error>

namespace NornHesper {

// The templates of the daemon's own messages, in its one language. An unknown id gives "Unknown message.";
// ec is never set.
std::string MessageCatalogueLookup(const std::string& id, std::string_view locale, std::error_code& ec);

}  // namespace NornHesper
