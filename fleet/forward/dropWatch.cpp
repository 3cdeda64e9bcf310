#include "fleet/forward/dropWatch.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;
using std::chrono::steady_clock;

constexpr std::chrono::seconds kShortestInterval{30};
constexpr std::chrono::seconds kLongestInterval{480};

const rapidjson::Value& Member(const rapidjson::Value& object, const char* name) {
  if (object.IsObject()) {
    if (const auto found = object.FindMember(name); found != object.MemberEnd()) return found->value;
  }
  throw std::runtime_error(std::string("no ") + name + " in the daemon's numbers");
}

}  // namespace

DropWatch::DropWatch(Caller caller, Coverage& coverage, Counters& counters)
    : caller_(std::move(caller)), coverage_(coverage), counters_(counters), interval_(kShortestInterval) {}

bool DropWatch::Look() {
  const auto began = steady_clock::now();
  const auto numbers = Fetch();
  if (!numbers && !told_) return false;
  coverage_.OnLook(began, numbers && HasGrown(*numbers));
  if (!coverage_.IsBroken()) {
    if (began >= nextAsk_ + interval_) interval_ = kShortestInterval;
    return false;
  }
  if (began < nextAsk_) return false;
  nextAsk_ = began + interval_;
  interval_ = std::min(interval_ * 2, kLongestInterval);
  LogInternal(Logger::sDefaultLogger.get(), 4,
              "The daemon has dropped a subscriber's queue; guests are asked for what was in it");
  return true;
}

// Nothing while the daemon is away. Without its numbers the forwarder does its work all the same.
std::optional<DropWatch::Numbers> DropWatch::Fetch() {
  try {
    auto numbers = Read(FetchStats(caller_));
    told_ = false;
    return numbers;
  } catch (const CallFault& fault) {
    if (fault.kind == CallFault::Kind::Interrupted) return std::nullopt;
    if (!std::exchange(told_, true)) {
      LogInternal(Logger::sDefaultLogger.get(), 4,
                  "The daemon's numbers can't be had, so its drops go unseen: %1", fault.what());
    }
  } catch (const std::runtime_error& error) {
    if (!std::exchange(told_, true)) {
      LogInternal(Logger::sDefaultLogger.get(), 4,
                  "The daemon's numbers can't be read, so its drops go unseen: %1", error.what());
    }
  }
  return std::nullopt;
}

bool DropWatch::HasGrown(const Numbers& now) {
  const bool sameDaemon = last_ && last_->startTime == now.startTime;
  const auto before = sameDaemon ? last_->droppedQueues : 0;
  last_ = now;
  if (now.droppedQueues <= before) return false;
  counters_.drops += now.droppedQueues - before;
  return true;
}

DropWatch::Numbers DropWatch::Read(const std::string& json) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  const auto& startTime = Member(document, "start_time");
  const auto& dropped = Member(Member(document, "subscriptions"), "dropped_queues");
  if (!startTime.IsString() || !dropped.IsUint64()) throw std::runtime_error("they have another form");
  return {.startTime = startTime.GetString(), .droppedQueues = dropped.GetUint64()};
}

}  // namespace Fleet
