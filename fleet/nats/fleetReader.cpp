#include "fleet/nats/fleetReader.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "fleet/nats/natsLink.h"
#include "fleet/nats/streamPosition.h"
#include "fleet/nats/subject.h"
#include "lib/public/api/topicFilter.h"
#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;

constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t kHeartbeat = 2 * kNanosecondsPerSecond;
constexpr std::int64_t kCallMilliseconds = 4000;
constexpr std::int64_t kNextMilliseconds = 200;
constexpr std::chrono::milliseconds kBetweenTries{1000};
constexpr int kMostPending = 8192;
constexpr int kMostPendingBytes = 32 << 20;

// One ordered consumer after another, each of which goes on where the last one ended. The library's own makes
// up for what is lost under way; what comes after a lost connection is left to a new one.
class StreamReader final {
 public:
  StreamReader(const NatsOptions& options, std::string stream, std::string subject,
               std::optional<std::chrono::seconds> since)
      : stream_(std::move(stream)),
        subject_(std::move(subject)),
        position_(since),
        link_(options, "hesper-subscribe", "_INBOX", Events()) {
    jsOptions settings;
    jsOptions_Init(&settings);
    settings.Wait = kCallMilliseconds;
    jetStream_ = link_.JetStream(&settings);
    try {
      Open();
      OnOpen();
    } catch (const NatsFault& fault) {
      // A call without permission looks like one that nobody answers.
      const std::lock_guard lock(mutex_);
      if (reason_.empty()) throw;
      throw NatsFault(NATS_NOT_PERMITTED, "stream " + stream_ + ": " + reason_);
    }
  }

  // Nothing if none has come for a moment.
  NatsMessageHandle Next() {
    if (stale_.exchange(false)) subscription_.reset();
    if (!subscription_ && !Reopen()) return nullptr;
    natsMsg* message = nullptr;
    const auto status = natsSubscription_NextMsg(&message, subscription_.get(), kNextMilliseconds);
    NatsMessageHandle handle(message);
    if (status != NATS_OK && status != NATS_TIMEOUT) {
      Interrupt(natsStatus_GetText(status));
      subscription_.reset();
    }
    return handle && IsNew(message) ? std::move(handle) : nullptr;
  }

 private:
  bool IsNew(natsMsg* message) {
    jsMsgMetaData* made = nullptr;
    if (natsMsg_GetMetaData(&made, message) != NATS_OK) return false;
    return position_.Take(MetaDataHandle(made)->Sequence.Stream);
  }

  LinkEvents Events() {
    return {.onDisconnected = [this](const std::string& reason) { Interrupt(reason); },
            .onReconnected = [this] { stale_ = true; },
            .onError =
                [this](natsStatus, const std::string& reason) {
                  Interrupt(reason);
                  stale_ = true;
                }};
  }

  void Interrupt(const std::string& reason) {
    const std::lock_guard lock(mutex_);
    reason_ = reason.empty() ? "the connection is lost" : reason;
    if (std::exchange(interrupted_, true)) return;
    LogInternal(Logger::sDefaultLogger.get(), 4, "The stream %1 is interrupted: %2", stream_, reason_);
  }

  void Open() {
    jsStreamInfo* info = nullptr;
    CheckNats(js_GetStreamInfo(&info, jetStream_.get(), stream_.c_str(), nullptr, nullptr),
              "stream " + stream_);
    position_.LookAt(*StreamInfoHandle(info));
    jsSubOptions wanted;
    jsSubOptions_Init(&wanted);
    wanted.Stream = stream_.c_str();
    wanted.Ordered = true;
    wanted.Config.Heartbeat = kHeartbeat;
    position_.Begin(wanted.Config);
    natsSubscription* made = nullptr;
    CheckNats(js_SubscribeSync(&made, jetStream_.get(), subject_.c_str(), nullptr, &wanted, nullptr),
              "consumer of stream " + stream_);
    subscription_.reset(made);
    natsSubscription_SetPendingLimits(made, kMostPending, kMostPendingBytes);
  }

  void OnOpen() {
    const std::lock_guard lock(mutex_);
    reason_.clear();
    interrupted_ = false;
  }

  bool Reopen() {
    const auto now = std::chrono::steady_clock::now();
    if (now < nextTry_ || !link_.IsConnected()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(kNextMilliseconds));
      return false;
    }
    nextTry_ = now + kBetweenTries;
    try {
      Open();
    } catch (const NatsFault& fault) {
      Interrupt(fault.what());
      return false;
    }
    OnOpen();
    LogInternal(Logger::sDefaultLogger.get(), 6, "The stream %1 goes on", stream_);
    return true;
  }

  const std::string stream_;
  const std::string subject_;
  StreamPosition position_;
  std::mutex mutex_;
  std::string reason_;
  bool interrupted_ = true;  // before the beginning there is nothing to tell
  std::atomic<bool> stale_ = false;
  std::chrono::steady_clock::time_point nextTry_{};
  // Destroyed from the last to the first.
  NatsLink link_;
  JetStreamHandle jetStream_;
  NatsSubscriptionHandle subscription_;
};

template <typename Range, typename Match>
bool EmptyOrAny(const Range& range, const Match& match) {
  return range.empty() || std::ranges::any_of(range, match);
}

bool IsWanted(const FleetWanted& wanted, const std::string& host, const Element& element) {
  return EmptyOrAny(wanted.hosts, [&](const auto& name) { return name == host; }) &&
         EmptyOrAny(wanted.vms, [&](const auto& vm) { return vm == element.vm; }) &&
         EmptyOrAny(wanted.topics,
                    [&](const auto& prefix) { return NornHesper::IsUnder(element.topic, prefix); });
}

struct FromHost {
  std::string host;
  Element element;
};

// The host is the one that the server lets write this subject; nothing of the message itself says so.
std::optional<FromHost> ReadMessage(const std::string& prefix, natsMsg* message) {
  const std::string_view subject(natsMsg_GetSubject(message));
  const auto host = HostOf(prefix, subject);
  if (!host) return std::nullopt;
  try {
    auto element = ReadElement(
        std::string(natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))));
    if (PublicationSubject(prefix, *host, element.vm, element.topic) != subject) return std::nullopt;
    return FromHost{*host, std::move(element)};
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
}

}  // namespace

void ReadFleet(const NatsOptions& options, const std::string& prefix, const std::string& stream,
               const FleetWanted& wanted, const std::stop_token& stop,
               const std::function<bool(const std::string& host, Element&&)>& take) {
  CheckPrefix(prefix);
  StreamReader reader(options, stream, FilterSubject(prefix, wanted.hosts, wanted.vms, wanted.topics),
                      wanted.since);
  bool told = false;
  while (!stop.stop_requested()) {
    const auto message = reader.Next();
    if (!message) continue;
    auto publication = ReadMessage(prefix, message.get());
    if (!publication) {
      if (!std::exchange(told, true)) {
        LogInternal(Logger::sDefaultLogger.get(), 4, "The stream has what is no publication, first under %1",
                    natsMsg_GetSubject(message.get()));
      }
      continue;
    }
    if (!IsWanted(wanted, publication->host, publication->element)) continue;
    if (!take(publication->host, std::move(publication->element))) return;
  }
}

}  // namespace Fleet
