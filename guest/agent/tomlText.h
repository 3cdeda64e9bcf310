#pragma once

#include <toml++/toml.h>
#include <string>
#include <string_view>

namespace GuestAgent {

// Reads a TOML 1.0 text; name is that of its file. It has neither texts of several lines nor, outside of
// comments, letters beyond ASCII but as escapes. Throws ConfigurationFault.
toml::table ParseToml(std::string_view text, const std::string& name);

}  // namespace GuestAgent
