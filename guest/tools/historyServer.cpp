#include "guest/tools/historyServer.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include "guest/lib/hesperguest.h"
#include "guest/link/stopSignals.h"
#include "lib/public/api/guestLimits.h"

namespace GuestTools {
namespace {

constexpr std::size_t kMostKept = 10000;
constexpr std::size_t kMostQueued = 20000;
constexpr int kMostAttempts = 2;

void Report(const std::string& text) {
  std::fprintf(stderr, "hesper-publish: %s\n", text.c_str());
}

}  // namespace

HistoryServer::HistoryServer(Settings settings, std::unique_ptr<Channel> publications,
                             std::unique_ptr<Channel> requests)
    : settings_(std::move(settings)),
      publications_(std::move(publications)),
      requests_(std::move(requests)),
      nextSequence_(settings_.firstSequence) {}

void HistoryServer::Publish(std::string payload) {
  Publication publication = settings_.common;
  if (publication.createTime.empty()) publication.createTime = GuestLink::CurrentTime();
  publication.payload = std::move(payload);
  // Before all history that waits, after what is on its way.
  const auto place = std::find_if(queue_.begin(), queue_.end(), [](const Sending& sending) {
    return sending.subscriber.has_value() && sending.attempts == 0;
  });
  queue_.insert(place, {std::move(publication), std::nullopt, 0, 0, {}});
}

int HistoryServer::Run(int input) {
  const int stop = GuestLink::OpenStopSignals();
  for (;;) {
    Advance(Clock::now());
    pollfd events[] = {{stop, POLLIN, 0},
                       {publications_->Descriptor(), POLLIN, 0},
                       {requests_->Descriptor(), POLLIN, 0},
                       {input, POLLIN, 0}};
    if (poll(events, std::size(events), MillisecondsToNextStep(Clock::now())) < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "poll");
    }
    if (events[0].revents != 0) break;
    if (events[1].revents != 0) TakeAcknowledgements();
    if (events[2].revents != 0) TakeRequests();
    if (events[3].revents != 0) ReadInput(input);
  }
  close(stop);
  if (status_ == 0 && std::any_of(queue_.begin(), queue_.end(),
                                  [](const Sending& sending) { return !sending.subscriber.has_value(); })) {
    status_ = 2;
  }
  return status_;
}

// Sends what may be sent now, and gives up on what has no answer.
void HistoryServer::Advance(Clock::time_point now) {
  while (!queue_.empty()) {
    Sending& first = queue_.front();
    if (first.attempts > 0 && now < first.deadline) return;
    if (first.attempts == kMostAttempts) {
      Report("no answer to sequence " + std::to_string(first.sequence));
      if (!first.subscriber) {
        status_ = std::max(status_, 2);
        // The daemon may have taken it all the same: it stays among what was published.
        kept_.push_back({now, std::move(first.publication)});
      }
      Finish();
      continue;
    }
    if (now < nextSend_) return;
    if (!SendFirst(now)) Finish();
  }
}

// False if the text can't be sent at all.
bool HistoryServer::SendFirst(Clock::time_point now) {
  Sending& first = queue_.front();
  if (first.attempts == 0) first.sequence = nextSequence_++;
  std::vector<std::uint64_t> subscribers;
  if (first.subscriber) subscribers.push_back(*first.subscriber);
  const std::string text = GuestLink::PublicationText(first.publication, first.sequence, subscribers);
  if (text.size() > NornHesper::kLargestDatagram) {
    Report("a publication of " + std::to_string(text.size()) + " bytes is larger than " +
           std::to_string(NornHesper::kLargestDatagram) + " and was not sent");
    if (!first.subscriber) status_ = std::max(status_, 1);
    return false;
  }
  ++first.attempts;
  first.deadline = now + settings_.timeout;
  nextSend_ = now + std::chrono::milliseconds(1000) / std::max(rateLimit_, 1U);
  // No daemon now? There may be one when it is sent again.
  publications_->Send(text);
  return true;
}

int HistoryServer::MillisecondsToNextStep(Clock::time_point now) const {
  if (queue_.empty()) return -1;
  const Sending& first = queue_.front();
  const auto next = first.attempts > 0 ? first.deadline : nextSend_;
  const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
  return static_cast<int>(std::clamp<std::int64_t>(wait, 0, 3600000));
}

void HistoryServer::Finish() {
  queue_.pop_front();
}

void HistoryServer::ReadInput(int& input) {
  char part[65536];
  const ssize_t size = read(input, part, sizeof part);
  if (size < 0 && (errno == EINTR || errno == EAGAIN)) return;
  line_.append(part, size > 0 ? static_cast<std::size_t>(size) : 0);
  std::size_t start = 0;
  for (std::size_t end = 0; (end = line_.find('\n', start)) != std::string::npos; start = end + 1) {
    Publish(line_.substr(start, end - start));
  }
  line_.erase(0, start);
  if (size > 0) return;
  if (!line_.empty()) Publish(std::exchange(line_, {}));
  input = -1;
}

void HistoryServer::TakeAcknowledgements() {
  while (const auto text = publications_->Receive(std::chrono::milliseconds(0))) {
    hesper_acknowledgement acknowledgement;
    if (hesper_read_acknowledgement(text->data(), text->size(), &acknowledgement) != 0) continue;
    if (queue_.empty() || queue_.front().attempts == 0) continue;
    Sending& first = queue_.front();
    // An answer that comes late, to a text that was given up, is not taken for this one's.
    if (acknowledgement.has_sequence != 0 && acknowledgement.sequence != first.sequence) continue;
    rateLimit_ = acknowledgement.rate_limit;
    if (acknowledgement.accepted == 0) Report("sequence " + std::to_string(first.sequence) + " was refused");
    if (!first.subscriber) {
      std::fwrite(text->data(), 1, text->size(), stdout);
      std::fflush(stdout);
      if (acknowledgement.accepted != 0) {
        kept_.push_back({Clock::now(), std::move(first.publication)});
      } else {
        status_ = std::max(status_, 1);
      }
    }
    if (kept_.size() > kMostKept) kept_.pop_front();
    Finish();
  }
}

void HistoryServer::TakeRequests() {
  while (const auto text = requests_->Receive(std::chrono::milliseconds(0))) {
    const auto request = GuestLink::ReadHistoryRequest(*text);
    if (!request) {
      Report("a history request is no valid JSON and was left unanswered");
      continue;
    }
    const auto now = Clock::now();
    for (const Kept& kept : kept_) {
      const auto age = std::chrono::duration_cast<std::chrono::seconds>(now - kept.since).count();
      if (static_cast<std::uint64_t>(age) > request->pastSeconds || !request->Takes(kept.publication.topic)) {
        continue;
      }
      if (queue_.size() >= kMostQueued) {
        Report("too many history requests wait, the rest of this one was left unanswered");
        break;
      }
      queue_.push_back({kept.publication, request->id, 0, 0, {}});
    }
  }
}

}  // namespace GuestTools
