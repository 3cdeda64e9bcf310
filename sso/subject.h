#pragma once

#include <string>

namespace SsoClient {

// A user or a group of a domain.
struct PrincipalId {
  std::string name;
  std::string domain;

  bool operator==(const PrincipalId&) const = default;
};

using Subject = PrincipalId;
using GroupIdentity = PrincipalId;

}  // namespace SsoClient
