#include "guest/agent/sending/pastSource.h"

#include <algorithm>
#include <limits>

#include "lib/public/api/guestLimits.h"

namespace GuestAgent {
namespace {

constexpr std::size_t kMostAskers = 32;
// Of the store's items that are looked at in one step.
constexpr std::size_t kStep = 1000;

std::chrono::milliseconds Since(std::chrono::milliseconds now, std::uint64_t pastSeconds) {
  constexpr std::uint64_t kLongest = std::uint64_t{1} << 32;
  return now - std::chrono::seconds(std::min(pastSeconds, kLongest));
}

}  // namespace

void PastSource::Ask(const std::string& text, std::uint64_t last) {
  auto request = GuestLink::ReadHistoryRequest(text);
  // The host numbers its subscriptions; a number that comes again is one of a host that has begun anew.
  if (request) std::erase_if(askers_, [&](const Asker& asker) { return asker.request.id == request->id; });
  if (!request || askers_.size() >= kMostAskers) {
    ++counters_.historyRefused;
    return;
  }
  ++counters_.historyRequests;
  const auto since = Since(store_.Now(), request->pastSeconds);
  askers_.push_back({std::move(*request), since, last, 0, std::nullopt, {}});
}

void PastSource::LeftLive(std::uint64_t sequence) {
  for (Asker& asker : askers_) {
    if (sequence <= asker.last) asker.live.insert(sequence);
  }
}

bool PastSource::Search() {
  bool isMore = false;
  for (auto asker = askers_.begin(); asker != askers_.end();) {
    if (asker->found || SearchFor(*asker)) {
      isMore = isMore || !asker->found;
      ++asker;
    } else {
      asker = askers_.erase(asker);
    }
  }
  return isMore;
}

// False when there is nothing left for it.
bool PastSource::SearchFor(Asker& asker) {
  const auto items = store_.ReadPast(asker.position, asker.since, kStep);
  for (const auto& item : items) {
    if (item.sequence > asker.last) return false;
    asker.position = item.sequence;
    if (asker.request.Takes(item.topic) && asker.live.count(item.sequence) == 0) {
      asker.found = item.sequence;
      return true;
    }
  }
  return items.size() == kStep;
}

std::vector<std::uint64_t> PastSource::AskersOf(std::uint64_t sequence) const {
  std::vector<std::uint64_t> ids;
  for (const Asker& asker : askers_) {
    if (asker.found == sequence) ids.push_back(asker.request.id);
  }
  return ids;
}

// The first so many of those that are to have it next.
void PastSource::Serve(std::uint64_t sequence, std::size_t count) {
  for (Asker& asker : askers_) {
    if (asker.found != sequence) continue;
    if (count-- == 0) return;
    asker.found = std::nullopt;
  }
}

std::optional<Parcel> PastSource::Next() {
  for (;;) {
    Search();
    const auto asker = std::find_if(askers_.begin(), askers_.end(),
                                    [](const Asker& each) { return each.found.has_value(); });
    if (asker == askers_.end()) return std::nullopt;
    auto parcel = ParcelOf(*asker->found);
    askers_.splice(askers_.end(), askers_, asker);
    if (parcel) return parcel;
  }
}

// Nothing if it has become too old since it was found, or is too long with those in it that ask.
std::optional<Parcel> PastSource::ParcelOf(std::uint64_t sequence) {
  auto ids = AskersOf(sequence);
  const auto item = store_.Read(sequence);
  std::string text = item ? PublicationText(item->publication, sequence, ids) : std::string();
  if (text.size() > NornHesper::kLargestDatagram) {
    ids.resize(1);
    text = PublicationText(item->publication, sequence, ids);
  }
  Serve(sequence, ids.size());
  if (!item) return std::nullopt;
  if (text.size() <= NornHesper::kLargestDatagram) return Parcel{sequence, std::move(text)};
  ++counters_.historySkipped;
  return std::nullopt;
}

void PastSource::Accepted() {
  ++counters_.historySent;
}

void PastSource::Refused(std::string_view) {
  ++counters_.historySkipped;
}

}  // namespace GuestAgent
