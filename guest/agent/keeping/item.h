#pragma once

#include <cstddef>
#include <cstdint>

#include "guest/link/publicationText.h"

namespace GuestAgent {

// Who hands data over: a user id of the VM, or the agent itself.
using Owner = std::uint32_t;
inline constexpr Owner kAgentItself = 0xFFFFFFFF;

// What somebody in the VM wants to be published.
struct Item {
  GuestLink::Publication publication;
  // Only the newest of its topic is worth sending: it takes the place of one that waits.
  bool isLatest = false;
  Owner owner = kAgentItself;
};

// What counts for the bounds: its texts and its payload.
inline std::size_t BytesOf(const Item& item) {
  const auto& publication = item.publication;
  return publication.topic.size() + publication.token.size() + publication.category.size() +
         publication.payload.size();
}

}  // namespace GuestAgent
