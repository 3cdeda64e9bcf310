#pragma once

#include <iosfwd>
#include <memory>

#include "framework/core/dataValue.h"
#include "framework/core/log.h"

namespace Mirel::Authz {
struct AuthzInfo;
}

namespace Mirel::Authz::Metadata {

struct LoadAuthzInfoMetadata {
  // Fills the tables from the section "authorization" of a metadata file. A rule that is overlooked would
  // open an operation, so an unknown or repeated member, an empty list and a name that the file's model
  // doesn't have are faults. On a fault it gives false, leaves the tables as they were, logs the reason and
  // appends it to the messages.
  //
  // The member "privileges" may be missing. It has a list of requirements for each operation that it names,
  // each with the "privileges" that are needed on the fixed "object", or on those that the "argument" of a
  // call names, a dotted path to a text or a list of texts; and with the "type" of these objects.
  static bool Load(std::istream& file, const std::shared_ptr<AuthzInfo>& info,
                   const std::shared_ptr<Log::Logger>& logger, MessageList& messages);
};

}  // namespace Mirel::Authz::Metadata
