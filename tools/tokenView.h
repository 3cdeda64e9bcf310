#pragma once

#include <string>

namespace SsoClient {
class SamlToken;
}

namespace Tools {

// What a token says, as one JSON object on one line.
std::string ToJson(const SsoClient::SamlToken& token);

// The same for people: a line for each thing that it says, and nothing for what it is silent about.
std::string ToLines(const SsoClient::SamlToken& token);

}  // namespace Tools
