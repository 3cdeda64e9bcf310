#include "tests/forward/pastGuests.h"

#include <algorithm>
#include <system_error>

#include "testing/eventually.h"

namespace Testing {
namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t kHistoryPort = 766;
// A VM may send two a second.
constexpr milliseconds kPause{510};
constexpr milliseconds kAcknowledgementPatience{1500};

std::uint64_t NumberBehind(std::string_view text, std::string_view name) {
  const auto at = text.find(name);
  return at == std::string_view::npos ? 0 : std::stoull(std::string(text.substr(at + name.size(), 20)));
}

}  // namespace

PastGuests::Guest::Guest(std::uint32_t cid) : vm(cid), socket(cid, kHistoryPort) {}

PastGuests::PastGuests(std::uint32_t vmPort, std::uint32_t firstCid, std::uint32_t count) : vmPort_(vmPort) {
  SharedHost();
  for (std::uint32_t i = 0; i < count; ++i) guests_.push_back(std::make_unique<Guest>(firstCid + i));
  thread_ = std::jthread([this](const std::stop_token& stop) { Run(stop); });
}

void PastGuests::Publish(int times, const std::string& topic, const std::string& payload) {
  const std::lock_guard lock(mutex_);
  for (int i = 0; i < times; ++i) {
    ++number_;
    for (auto& guest : guests_) {
      const auto name = topic + "." + std::to_string(guest->vm.cid()) + "." + std::to_string(number_);
      guest->waiting.push_back({.topic = name, .payload = payload, .moreHeader = {}});
      topics_.insert(name);
    }
  }
}

bool PastGuests::WaitUntilPublished() const {
  return Eventually(
      [this] {
        const std::lock_guard lock(mutex_);
        return std::ranges::all_of(guests_, [](const auto& guest) { return guest->waiting.empty(); });
      },
      std::chrono::seconds(60));
}

std::set<std::string> PastGuests::Topics() const {
  const std::lock_guard lock(mutex_);
  return topics_;
}

void PastGuests::Run(const std::stop_token& stop) {
  while (!stop.stop_requested()) {
    {
      const std::lock_guard lock(mutex_);
      for (auto& guest : guests_) {
        Receive(*guest);
        Send(*guest);
      }
    }
    std::this_thread::sleep_for(milliseconds(3));
  }
}

void PastGuests::Receive(Guest& guest) {
  while (const auto datagram = guest.socket.Receive(milliseconds(0))) {
    if (datagram->text.find("pastSeconds") != std::string::npos) {
      OnRequest(guest, datagram->text);
    } else {
      OnAcknowledgement(guest, datagram->text);
    }
  }
}

void PastGuests::OnAcknowledgement(Guest& guest, std::string_view text) {
  if (!guest.sent || NumberBehind(text, "\"sequence\":") != guest.sequence) return;
  if (guest.waiting.front().moreHeader.empty()) guest.kept.push_back({guest.waiting.front(), Clock::now()});
  guest.waiting.pop_front();
  guest.sent = false;
  ++guest.sequence;
  guest.nextSend = std::max(guest.nextSend - kAcknowledgementPatience + kPause, Clock::now());
}

void PastGuests::OnRequest(Guest& guest, std::string_view text) {
  const std::chrono::seconds past(NumberBehind(text, "\"pastSeconds\": "));
  const auto id = std::to_string(NumberBehind(text, "\"id\": "));
  for (const auto& kept : guest.kept) {
    if (Clock::now() - kept.time > past) continue;
    auto copy = kept.text;
    copy.moreHeader = ",\"subscribers\":[" + id + "]";
    guest.waiting.push_back(std::move(copy));
  }
}

void PastGuests::Send(Guest& guest) const {
  if (guest.waiting.empty() || Clock::now() < guest.nextSend) return;
  const auto& text = guest.waiting.front();
  try {
    guest.socket.Send(vmPort_, PublicationText(guest.sequence, text.topic, text.payload, text.moreHeader));
    guest.sent = true;
  } catch (const std::system_error&) {
    // No daemon now.
  }
  guest.nextSend = Clock::now() + kAcknowledgementPatience;
}

}  // namespace Testing
