#pragma once

#include <string>

#include "framework/core/dateTime.h"

namespace Com::Tessaly::Ombra::SessionSvc {

// What the session service says to a client about its session.
struct Info {
  static constexpr const char* kStructureName = "com.tessaly.ombra.session.info";

  // Empty for a session that belongs to no user.
  std::string user;
  ::Mirel::DateTime createdTime;
  ::Mirel::DateTime lastAccessedTime;
};

}  // namespace Com::Tessaly::Ombra::SessionSvc
