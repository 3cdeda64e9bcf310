#include "guest/agent/sending/liveSource.h"

#include "platform/corvane/textEscape.h"

namespace GuestAgent {
namespace {

constexpr std::chrono::seconds kLate{10};
// Of a diagnosis in the log: it may quote all of the publication.
constexpr std::size_t kMostDiagnosis = 1024;

}  // namespace

std::optional<Parcel> LiveSource::Next() {
  while (auto taken = schedule_.Take()) {
    const auto item = store_.Read(taken->entry.sequence);
    if (item) {
      taken_ = std::move(*taken);
      return Parcel{taken_.entry.sequence, PublicationText(item->publication, taken_.entry.sequence)};
    }
    // Only a broken disk comes to this, and has been told.
    schedule_.Release(taken->owner, taken->entry.bytes);
  }
  return std::nullopt;
}

bool LiveSource::IsWanted() const {
  return !taken_.entry.isLatest || !schedule_.HasLatest(taken_.topic);
}

void LiveSource::Accepted() {
  store_.MarkSent(taken_.entry.sequence);
  schedule_.Release(taken_.owner, taken_.entry.bytes);
  ++counters_.sent;
  if (store_.Now() - taken_.entry.kept > kLate) ++counters_.late;
}

void LiveSource::Refused(std::string_view diagnosis) {
  tell_("the host has refused publication " + std::to_string(taken_.entry.sequence) + " under " +
        taken_.topic + ": " + Corvane::Detail::EscapeLine(diagnosis.substr(0, kMostDiagnosis)));
  store_.Remove(taken_.entry.sequence);
  schedule_.Release(taken_.owner, taken_.entry.bytes);
  ++counters_.refusedByHost;
}

void LiveSource::Dropped() {
  store_.Remove(taken_.entry.sequence);
  schedule_.Release(taken_.owner, taken_.entry.bytes);
  ++counters_.replaced;
}

}  // namespace GuestAgent
