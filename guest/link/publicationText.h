#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace GuestLink {

// One item of guest data, as it was published first.
struct Publication {
  std::string createTime;
  std::string topic;
  std::string token;
  std::string category;
  std::string payload;
};

// The present, in the text form of RFC 3339.
std::string CurrentTime();

// The JSON text of a datagram. With subscribers it answers requests for history.
std::string PublicationText(const Publication& publication, std::uint64_t sequence,
                            const std::vector<std::uint64_t>& subscribers = {});

struct HistoryRequest {
  std::uint64_t pastSeconds = 0;
  std::uint64_t id = 0;
  // All topics, if there are none. Sorted bytewise.
  std::vector<std::string> topicPrefixes;

  // By the rule that the host sorts out by, so that nothing is sent in vain.
  bool Takes(std::string_view topic) const;
};
// Nothing if the text is no request.
std::optional<HistoryRequest> ReadHistoryRequest(const std::string& text);

}  // namespace GuestLink
