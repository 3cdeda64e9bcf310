#pragma once

#include <string_view>

namespace Fleet {

// Throw TextRefused for a name that is too long or isn't the guests' to write: those of the daemon, of its
// exporter and of what Prometheus makes itself. Colons are reserved as well, as recorded rules have them.
// Require: the name has the grammar of its kind.
void CheckMetricName(std::string_view name);
void CheckLabelName(std::string_view name);

bool IsNameStart(char c);
bool IsNameCharacter(char c);

}  // namespace Fleet
