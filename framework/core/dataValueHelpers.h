#pragma once

#include <string_view>

#include "framework/core/dataValue.h"

namespace Mirel::Data {

struct DataValueHelpers {
  // The value behind a dotted path of field names, "outer.inner"; the empty path is the value itself. Null
  // when a field is missing, or when a part in front of the last one is no structure or error.
  static DataValuePtr GetValueByPath(const DataValuePtr& value, std::string_view path);
};

}  // namespace Mirel::Data
