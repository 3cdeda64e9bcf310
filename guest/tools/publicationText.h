#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace GuestTools {

// One item of guest data, as it was published first.
struct Publication {
  std::string createTime;
  std::string topic;
  std::string token;
  std::string category;
  std::string payload;
};

// The JSON text of a datagram. With subscribers it answers requests for history.
std::string PublicationText(const Publication& publication, std::uint64_t sequence,
                            const std::vector<std::uint64_t>& subscribers = {});

struct HistoryRequest {
  std::uint64_t pastSeconds = 0;
  std::uint64_t id = 0;
  // All topics, if there are none.
  std::vector<std::string> topicPrefixes;

  // Whether one of the prefixes is the topic or ends before one of its dots.
  bool Takes(std::string_view topic) const;
};
// Nothing if the text is no request.
std::optional<HistoryRequest> ReadHistoryRequest(const std::string& text);

}  // namespace GuestTools
