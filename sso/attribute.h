#pragma once

#include <string>
#include <vector>

namespace SsoClient {

// A named list of values that a token carries or a request asks for. The format and the friendly name are
// empty when there are none.
struct Attribute {
  std::string name;
  std::vector<std::string> values;
  std::string nameFormat;
  std::string friendlyName;
};

// What a source says about a token's subject.
struct Advice {
  std::string source;
  std::vector<Attribute> attributes;
};

}  // namespace SsoClient
