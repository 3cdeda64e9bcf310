#include "guest/agent/sending/courier.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "guest/lib/hesperguest.h"

namespace GuestAgent {
namespace {

constexpr std::chrono::milliseconds kPatience{5000};

}  // namespace

Courier::Courier(Open open, Source& live, Source& past, Counters& counters, Tell tell, std::uint32_t seed)
    : open_(std::move(open)),
      sources_{&live, &past},
      counters_(counters),
      tell_(std::move(tell)),
      backoff_(seed) {}

std::optional<Courier::Milliseconds> Courier::Step(Milliseconds now) {
  TakeAcknowledgements(now);
  if (deadline_ && now >= *deadline_) Fail(now, "no acknowledgement in 5 seconds");
  if (deadline_) return deadline_;
  if (!parcel_) Choose();
  if (!parcel_) return std::nullopt;
  const Milliseconds due = std::max(retry_, pace_.Next());
  if (now < due) return due;
  Send(now);
  return deadline_ ? *deadline_ : retry_;
}

void Courier::Connect(Milliseconds now) try {
  if (!channel_) channel_ = open_();
} catch (const std::exception& error) {
  Fail(now, error.what());
}

void Courier::TakeAcknowledgements(Milliseconds now) try {
  if (!channel_) return;
  while (const auto text = channel_->Receive(Milliseconds(0))) Take(*text);
  if (deadline_ && channel_->Descriptor() < 0) Fail(now, "the connection has ended");
} catch (const std::exception& error) {
  Fail(now, error.what());
}

void Courier::Take(const std::string& text) {
  hesper_acknowledgement acknowledgement;
  if (hesper_read_acknowledgement(text.data(), text.size(), &acknowledgement) != 0) return;
  pace_.SetRate(acknowledgement.rate_limit);
  backoff_.Reset();
  if (std::exchange(isAway_, false)) tell_("the host answers again");
  // One that comes late, for an earlier publication, isn't taken for this one's.
  if (!deadline_ || (acknowledgement.has_sequence != 0 && acknowledgement.sequence != parcel_->sequence)) {
    return;
  }
  Source& source = *sources_[current_];
  if (acknowledgement.accepted != 0) {
    source.Accepted();
  } else {
    source.Refused(text);
  }
  parcel_ = std::nullopt;
  deadline_ = std::nullopt;
}

void Courier::Choose() {
  for (std::size_t tries = 0; tries < sources_.size() && !parcel_; ++tries) {
    current_ = turn_;
    turn_ = (turn_ + 1) % sources_.size();
    parcel_ = sources_[current_]->Next();
  }
  attempts_ = 0;
}

void Courier::Send(Milliseconds now) {
  Source& source = *sources_[current_];
  if (!source.IsWanted()) {
    source.Dropped();
    parcel_ = std::nullopt;
    return;
  }
  Connect(now);
  if (!channel_) return;
  if (attempts_++ > 0) ++counters_.repeats;
  pace_.Sent(now);
  source.Leaves();
  try {
    if (channel_->Send(parcel_->text)) {
      deadline_ = now + kPatience;
    } else {
      Fail(now, "nobody listens on the host");
    }
  } catch (const std::exception& error) {
    Fail(now, error.what());
  }
}

// A reason is told once, until the host answers again.
void Courier::Fail(Milliseconds now, const std::string& reason) {
  channel_ = nullptr;
  deadline_ = std::nullopt;
  retry_ = now + backoff_.Next();
  if (!std::exchange(isAway_, true)) {
    tell_("the host can't be reached: " + reason + "; it is tried again and again");
  }
}

}  // namespace GuestAgent
