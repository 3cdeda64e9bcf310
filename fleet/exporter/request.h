#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fleet/exporter/bodyPipe.h"

namespace Fleet {

using Fields = std::vector<std::pair<std::string, std::string>>;

// A whole request within the server's bounds.
struct Request {
  std::string method;
  std::string path;  // percent-decoded, without the query
  std::string body;
  Fields headers;
  Fields query;  // percent-decoded
  Fields cookies;
  std::optional<uid_t> user;  // whose process called, where the kernel knows it

  // The value of the only field of that name; empty if there is none, nothing if there are several.
  std::optional<std::string_view> Header(std::string_view name) const;
  // Of the first one; empty if there is none.
  std::string_view Query(std::string_view name) const;
  std::string_view Cookie(std::string_view name) const;
};

struct Answer {
  unsigned status = 200;
  Fields headers = {};
  std::string body = {};
  std::shared_ptr<BodyPipe> stream = {};  // instead of a body
  std::shared_ptr<void> held = {};        // for as long as the answer takes
};

// Takes the answer of one request: from any thread, exactly once.
using Reply = std::function<void(Answer)>;

}  // namespace Fleet
