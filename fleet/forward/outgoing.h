#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "fleet/forward/coverage.h"
#include "fleet/stream/element.h"

namespace Fleet {

// Whose publications these are, and where they go.
struct Origin {
  std::string prefix;
  std::string host;
  std::string vmIdType;
};

// One publication on its way to NATS.
struct Outgoing {
  std::string subject;
  std::vector<std::pair<const char*, std::string>> headers;
  std::string body;
  Moment received;

  // Of the headers as NATS has them, which counts for the largest message.
  std::size_t HeaderBytes() const;
  // A fair guess of what it takes in memory.
  std::size_t Bytes() const { return 512 + subject.size() + HeaderBytes() + body.size(); }
};

Outgoing MakeOutgoing(const Origin& origin, const Element& element, Moment received);

}  // namespace Fleet
