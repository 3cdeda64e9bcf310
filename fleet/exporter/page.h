#pragma once

#include <string>
#include <string_view>

#include "fleet/exporter/request.h"

namespace Fleet {

// The files of the page, as they were when this was built. They hold nothing of the host.
class Page final {
 public:
  // Nothing if there is no such file.
  static std::optional<Answer> Get(const Request& request);
};

}  // namespace Fleet
