#include "bench/siege/canary.h"

#include <poll.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "bench/siege/target.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr const char kTopics[] = R"({"vm_id_type":"MGR_VM_ID","topic_prefixes":["canary"]})";
constexpr auto kPublicationPause = milliseconds(1000 / kCanaryVms);
constexpr auto kNewcomerPause = milliseconds(500);
constexpr auto kRetryPause = milliseconds(50);
constexpr auto kNewcomersPatience = seconds(20);
constexpr int kBetterPriority = -10;  // needs root; without it the figures hold more of the machine's noise

// The number after the mark; 0 when there's none.
std::uint64_t NumberBehind(const std::string& text, std::string_view mark) {
  const auto at = text.find(mark);
  return at == std::string::npos ? 0 : std::strtoull(text.c_str() + at + mark.size(), nullptr, 10);
}

template <typename Work>
std::thread Start(Work work) {
  return std::thread([work] {
    setpriority(PRIO_PROCESS, 0, kBetterPriority);  // of this thread alone
    work();
  });
}

}  // namespace

Canary::Canary(const Target& target) : port_(target.port()), vmPort_(target.vmPort()), sent_(1) {
  reader_ = Start([this] { ReadStream(); });
  publisher_ = Start([this] { Publish(); });
  for (int i = 0; first_ == 0 && i < 1000; ++i) Sleep(milliseconds(10));
  newcomers_ = Start([this] { ReceiveNewcomers(); });
}

CanaryFigures Canary::Stop() {
  stopNewcomers_ = true;
  newcomers_.join();
  {
    const std::lock_guard lock(sentMutex_);
    lastCounted_ = sent_.size() - 1;
  }
  reader_.join();
  Sleep(milliseconds(500));  // for the last acknowledgements
  stop_ = true;
  publisher_.join();
  CanaryFigures figures;
  figures.newcomersTried = newcomersTried_;
  figures.newcomersIn = newcomersIn_;
  figures.slowestNewcomerMs = slowestNewcomerMs_;
  figures.sent = lastCounted_ - first_;
  for (auto sequence = first_ + 1; sequence <= lastCounted_; ++sequence) {
    if (sent_[sequence].ackMs >= 0) figures.ackMs.push_back(sent_[sequence].ackMs);
    if (sent_[sequence].deliveryMs >= 0) figures.deliveryMs.push_back(sent_[sequence].deliveryMs);
  }
  std::sort(figures.ackMs.begin(), figures.ackMs.end());
  std::sort(figures.deliveryMs.begin(), figures.deliveryMs.end());
  return figures;
}

void Canary::Publish() {
  std::vector<Krell::GuestSocket> guests;
  for (std::uint32_t i = 0; i < kCanaryVms; ++i) guests.emplace_back(kFirstCanaryCid + i);
  for (auto due = Clock::now(); !stop_; due += kPublicationPause) {
    SendOne(guests);
    TakeAcknowledgements(guests, due + kPublicationPause);
  }
}

void Canary::SendOne(std::vector<Krell::GuestSocket>& guests) {
  std::uint64_t sequence = 0;
  {
    const std::lock_guard lock(sentMutex_);
    sequence = sent_.size();
    sent_.push_back({Clock::now()});
  }
  const auto text = Testing::PublicationText(sequence, "canary." + std::to_string(sequence), "aGk=");
  try {
    guests[sequence % guests.size()].Send(vmPort_, text);
  } catch (const std::system_error&) {
    // The daemon has ended; the missing acknowledgement shows it.
  }
}

void Canary::TakeAcknowledgements(std::vector<Krell::GuestSocket>& guests, Clock::time_point until) {
  std::vector<pollfd> polled;
  polled.reserve(guests.size());
  for (const auto& guest : guests) polled.push_back({guest.Descriptor(), POLLIN, 0});
  while (true) {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
    if (left <= 0 || poll(polled.data(), polled.size(), static_cast<int>(left)) <= 0) return;
    for (std::size_t i = 0; i < guests.size(); ++i) {
      if ((polled[i].revents & POLLIN) == 0) continue;
      if (const auto answer = guests[i].Receive(milliseconds(0))) Acknowledge(answer->text);
    }
  }
}

void Canary::Acknowledge(const std::string& text) {
  const auto sequence = NumberBehind(text, "\"sequence\":");
  if (text != Testing::GoodAcknowledgement(sequence)) return;
  const std::lock_guard lock(sentMutex_);
  if (sequence < sent_.size()) sent_[sequence].ackMs = MillisecondsSince(sent_[sequence].at);
}

// Ends with the first publication after the last one that counts, or with the stream.
void Canary::ReadStream() try {
  Testing::Subscriber subscriber(port_, kTopics);
  while (lastReceived_ <= lastCounted_) {
    const auto sequence = NumberBehind(subscriber.Next(), "\"canary.");
    if (first_ == 0) first_ = sequence;
    Receive(sequence);
  }
} catch (const std::exception&) {
  // The stream was lost; what's missing shows it.
}

void Canary::Receive(std::uint64_t sequence) {
  lastReceived_ = sequence;
  const std::lock_guard lock(sentMutex_);
  if (sequence < sent_.size()) sent_[sequence].deliveryMs = MillisecondsSince(sent_[sequence].at);
}

void Canary::ReceiveNewcomers() {
  while (!stopNewcomers_) {
    const auto begin = Clock::now();
    ++newcomersTried_;
    bool in = false;
    while (!in && Clock::now() < begin + kNewcomersPatience) {
      in = ComesIn();
      if (!in) Sleep(kRetryPause);
    }
    if (in) ++newcomersIn_;
    slowestNewcomerMs_ = std::max(slowestNewcomerMs_, MillisecondsSince(begin));
    Sleep(kNewcomerPause);
  }
}

// With its first publication, as nothing comes before.
bool Canary::ComesIn() const try {
  Testing::Subscriber(port_, kTopics).Next();
  return true;
} catch (const std::exception&) {
  return false;
}

}  // namespace Siege
