#include "framework/core/oRange.h"

#include <utility>

namespace Mirel {
namespace {

// Below this size a copy costs less than one more buffer in the gathered write.
constexpr std::size_t kWorthSharing = 4096;
// What a text that is cleared may keep, as there can be one in each of a thousand connections.
constexpr std::size_t kKeptRoom = 256;

}  // namespace

void ORange::Append(std::string_view bytes) {
  text_.append(bytes);
}

void ORange::AppendShared(std::string_view bytes, std::shared_ptr<const void> owner) {
  if (bytes.size() < kWorthSharing) {
    Append(bytes);
  } else {
    Refer(bytes, std::move(owner));
  }
}

void ORange::AppendShared(const ORange& text, std::shared_ptr<const void> owner) {
  text.ForEachSegment([&](std::string_view bytes) { Refer(bytes, std::exchange(owner, nullptr)); });
}

void ORange::Refer(std::string_view bytes, std::shared_ptr<const void> owner) {
  shared_.push_back({text_.size(), bytes, std::move(owner)});
  sharedSize_ += bytes.size();
}

void ORange::Clear() {
  if (text_.capacity() > kKeptRoom) std::string().swap(text_);
  text_.clear();
  shared_.clear();
  sharedSize_ = 0;
}

std::vector<std::string_view> ORange::Segments() const {
  std::vector<std::string_view> segments;
  segments.reserve(2 * shared_.size() + 1);
  ForEachSegment([&segments](std::string_view bytes) { segments.push_back(bytes); });
  return segments;
}

std::string ORange::ToString() const {
  std::string all;
  all.reserve(Size());
  ForEachSegment([&all](std::string_view bytes) { all.append(bytes); });
  return all;
}

}  // namespace Mirel
