#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace NornHesper {

using OptionalStringVector = std::optional<std::vector<std::string>>;

// The text of a history request. Nothing in it is escaped: guests read the prefixes as they are.
std::string HistoryRequestText(std::uint64_t id, std::uint64_t pastSeconds,
                               const OptionalStringVector& topicPrefixes);

// Sends one datagram to each of the guests, on the calling thread, and does not wait for answers. A guest
// that can't be reached is logged, and the others are still asked. Throws boost::system::system_error when
// no socket can be made.
void HistoryRequestorNotifyGuests(std::uint64_t id, std::uint64_t pastSeconds,
                                  const std::vector<unsigned int>& cids,
                                  const OptionalStringVector& topicPrefixes);

}  // namespace NornHesper
