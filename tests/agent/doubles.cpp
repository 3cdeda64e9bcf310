#include "tests/agent/doubles.h"

#include <cerrno>

namespace Testing {
namespace {

std::string Between(const std::string& text, const std::string& before, const std::string& after) {
  const auto start = text.find(before);
  if (start == std::string::npos) return "";
  const auto from = start + before.size();
  return text.substr(from, text.find(after, from) - from);
}

class HostChannel final : public GuestLink::Channel {
 public:
  explicit HostChannel(HostDouble& host) : host_(host) {}

  bool Send(std::string_view text) override {
    if (host_.mood == HostDouble::Mood::IsAway) return false;
    host_.arrivals.push_back({host_.clock.boot, std::string(text)});
    if (host_.mood == HostDouble::Mood::HangsUp) isOpen_ = false;
    if (host_.mood == HostDouble::Mood::Accepts || host_.mood == HostDouble::Mood::Refuses) {
      answers_.push_back(Acknowledgement(SequenceOf(host_.arrivals.back().text),
                                         host_.mood == HostDouble::Mood::Accepts, host_.rate));
    }
    return true;
  }
  std::optional<std::string> Receive(milliseconds) override {
    if (answers_.empty()) return std::nullopt;
    auto first = std::move(answers_.front());
    answers_.pop_front();
    return first;
  }
  int Descriptor() const override { return isOpen_ ? 0 : -1; }

 private:
  HostDouble& host_;
  bool isOpen_ = true;
  std::deque<std::string> answers_;
};

}  // namespace

std::unique_ptr<GuestLink::Channel> HostDouble::Open() {
  ++opened;
  return std::make_unique<HostChannel>(*this);
}

std::vector<std::uint64_t> HostDouble::Sequences() const {
  std::vector<std::uint64_t> numbers;
  for (const auto& arrival : arrivals) numbers.push_back(SequenceOf(arrival.text));
  return numbers;
}

std::uint64_t SequenceOf(const std::string& text) {
  return std::stoull(Between(text, R"("sequence":)", ","));
}

std::string TopicOf(const std::string& text) {
  return Between(text, R"("topic":")", "\"");
}

std::string PayloadOf(const std::string& text) {
  return Between(text, R"("base64":")", "\"");
}

std::string SubscribersOf(const std::string& text) {
  return Between(text, R"("subscribers":)", "}");
}

std::string Acknowledgement(std::uint64_t sequence, bool isAccepted, unsigned rate) {
  return "{\n\"sequence\":" + std::to_string(sequence) + ",\n\"status\":\"" + (isAccepted ? "ok" : "bad") +
         "\",\n" + (isAccepted ? "" : "\"diagnosis\":\"error(s): {65538, no}\",\n") +
         "\"rateLimit\":" + std::to_string(rate) + "\n}";
}

GuestAgent::Item MakeItem(const std::string& topic, const std::string& payload, bool isLatest,
                          GuestAgent::Owner owner) {
  return {{"2026-11-26T07:00:00Z", topic, "", "data", payload}, isLatest, owner};
}

}  // namespace Testing
