#include "fleet/forward/publisher.h"

#include <string_view>
#include <utility>

#include "fleet/nats/subject.h"
#include "platform/corvane/log.h"

namespace Fleet {
namespace {

using Corvane::Service::Logger;
using Corvane::Service::LogInternal;

constexpr std::chrono::seconds kAcknowledgementPatience{3};
constexpr std::int64_t kMostPendingPublications = 4096;

void OnAcknowledgement(jsCtx*, natsMsg* message, jsPubAck* stored, jsPubAckErr* failed, void* closure) {
  auto& acknowledgements = *static_cast<Acknowledgements*>(closure);
  if (stored != nullptr) {
    acknowledgements.Settle(message, stored->Duplicate ? Outcome::Duplicate : Outcome::Stored, "");
  } else if (failed->ErrCode == JSStreamMessageExceedsMaximumErr) {
    acknowledgements.Settle(message, Outcome::Unstorable, "");
  } else {
    const bool noStream = failed->Err == NATS_NO_RESPONDERS;
    acknowledgements.Settle(message, Outcome::Again,
                            noStream                     ? "no stream takes the subject"
                            : failed->ErrText != nullptr ? failed->ErrText
                                                         : natsStatus_GetText(failed->Err));
  }
  natsMsg_Destroy(message);
}

// The library may call once more after a context is destroyed, so that what it calls is never freed.
Acknowledgements& MakeAcknowledgements() {
  static auto* const all = new std::vector<std::unique_ptr<Acknowledgements>>;
  return *all->emplace_back(std::make_unique<Acknowledgements>());
}

NatsMessageHandle MakeMessage(const Outgoing& item) {
  natsMsg* made = nullptr;
  CheckNats(natsMsg_Create(&made, item.subject.c_str(), nullptr, item.body.data(),
                           static_cast<int>(item.body.size())),
            "message");
  NatsMessageHandle message(made);
  for (const auto& [name, value] : item.headers) {
    CheckNats(natsMsgHeader_Set(made, name, value.c_str()), "header");
  }
  return message;
}

// What came too late is nobody's any more.
void DropPending(jsCtx* jetStream) {
  natsMsgList pending{};
  if (js_PublishAsyncGetPendingList(&pending, jetStream) == NATS_OK) natsMsgList_Destroy(&pending);
}

}  // namespace

Publisher::Publisher(NatsOptions options, const std::string& host)
    : options_(std::move(options)),
      name_("hesper-forward of " + HeaderValue(host)),
      inboxPrefix_("_INBOX_hesper." + EscapeToken(host)),
      acknowledgements_(MakeAcknowledgements()) {}

Publisher::~Publisher() = default;

void Publisher::Connect() {
  if (link_ && !link_->IsClosed()) {
    if (!link_->IsConnected()) throw NatsFault(NATS_CONNECTION_DISCONNECTED, "the connection is lost");
    return;
  }
  jetStream_.reset();
  link_.reset();
  link_ =
      std::make_unique<NatsLink>(options_, name_, inboxPrefix_,
                                 LinkEvents{.onDisconnected = {},
                                            .onReconnected = {},
                                            .onError = [this](natsStatus, const std::string& reason) {
                                              if (reason.find("Permissions Violation") != std::string::npos) {
                                                acknowledgements_.Forbid(reason);
                                              }
                                            }});
  jsOptions settings;
  jsOptions_Init(&settings);
  settings.PublishAsync.MaxPending = kMostPendingPublications;
  settings.PublishAsync.AckHandler = &OnAcknowledgement;
  settings.PublishAsync.AckHandlerClosure = &acknowledgements_;
  jetStream_ = link_->JetStream(&settings);
  LogInternal(Logger::sDefaultLogger.get(), 6, "Connected to NATS at %1", link_->Server());
}

void Publisher::Send(const Outgoing& item, std::size_t index) {
  auto message = MakeMessage(item);
  const natsMsg* const key = message.get();
  acknowledgements_.Await(key, index);
  const auto largest = natsConnection_GetMaxPayload(link_->get());
  if (largest > 0 && item.HeaderBytes() + item.body.size() > static_cast<std::size_t>(largest)) {
    acknowledgements_.Settle(key, Outcome::Unstorable, "");
    return;
  }
  natsMsg* given = message.release();
  const auto status = js_PublishMsgAsync(jetStream_.get(), &given, nullptr);
  message.reset(given);
  if (status != NATS_OK) acknowledgements_.Settle(key, Outcome::Again, natsStatus_GetText(status));
}

PublishResult Publisher::Publish(const std::vector<Outgoing>& batch) {
  Connect();
  acknowledgements_.Begin(batch.size());
  for (std::size_t i = 0; i < batch.size(); ++i) Send(batch[i], i);
  auto result = acknowledgements_.Finish(kAcknowledgementPatience);
  DropPending(jetStream_.get());
  return result;
}

}  // namespace Fleet
