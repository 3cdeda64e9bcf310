#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fleet/stream/element.h"

namespace Fleet {

// Milliseconds since 1970.
inline std::int64_t Milliseconds(std::chrono::system_clock::time_point time) {
  return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

// What is kept of a publication, to be shown: valid UTF-8, and cut to size.
struct PublicationEvent {
  std::string vm;
  std::string topic;
  std::string createTime;
  std::int64_t received = 0;  // milliseconds since 1970
  bool isHistory = false;
  bool isText = false;  // of the payload: UTF-8
  bool isCut = false;
  std::size_t bytes = 0;  // of the whole payload
  std::string payload;    // its beginning

  std::size_t Size() const { return vm.size() + topic.size() + createTime.size() + payload.size(); }
};

PublicationEvent MakeEvent(const Element& element, std::chrono::system_clock::time_point received);

// As an event of text/event-stream.
std::string EventText(const PublicationEvent& event);
std::string SkippedText(std::uint64_t count);

// What a viewer wants to see; empty is everything.
struct EventFilter {
  std::string vm;
  std::string topic;  // a prefix in whole components, as subscriptions have them

  bool Matches(const PublicationEvent& event) const;
};

}  // namespace Fleet
