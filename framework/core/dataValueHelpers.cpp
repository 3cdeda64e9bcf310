#include "framework/core/dataValueHelpers.h"

#include <algorithm>

namespace Mirel::Data {

DataValuePtr DataValueHelpers::GetValueByPath(const DataValuePtr& value, std::string_view path) {
  DataValuePtr current = value;
  while (current && !path.empty()) {
    const auto* compound = dynamic_cast<const CompoundValue*>(current.get());
    if (!compound) return nullptr;
    const auto end = std::min(path.find('.'), path.size());
    current = compound->GetField(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return current;
}

}  // namespace Mirel::Data
