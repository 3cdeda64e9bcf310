#include "framework/core/oRange.h"

#include <utility>

namespace Mirel {
namespace {

// Below this size a copy costs less than one more buffer in the gathered write.
constexpr std::size_t kWorthSharing = 4096;

}  // namespace

void ORange::Append(std::string_view bytes) {
  text_.append(bytes);
}

void ORange::AppendShared(std::string_view bytes, std::shared_ptr<const void> owner) {
  if (bytes.size() < kWorthSharing) {
    Append(bytes);
    return;
  }
  shared_.push_back({text_.size(), bytes, std::move(owner)});
  sharedSize_ += bytes.size();
}

std::vector<std::string_view> ORange::Segments() const {
  std::vector<std::string_view> segments;
  segments.reserve(2 * shared_.size() + 1);
  const std::string_view text = text_;
  std::size_t done = 0;
  for (const auto& piece : shared_) {
    if (piece.textBefore > done) segments.push_back(text.substr(done, piece.textBefore - done));
    segments.push_back(piece.bytes);
    done = piece.textBefore;
  }
  if (done < text.size()) segments.push_back(text.substr(done));
  return segments;
}

std::string ORange::ToString() const {
  std::string all;
  all.reserve(Size());
  for (const auto segment : Segments()) all.append(segment);
  return all;
}

}  // namespace Mirel
