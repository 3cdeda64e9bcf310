#pragma once

#include <nats/nats.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace Fleet {

// What NATS, or the way to it, has refused. The text is for people.
class NatsFault final : public std::runtime_error {
 public:
  NatsFault(natsStatus status, const std::string& text) : std::runtime_error(text), status_(status) {}
  natsStatus status() const { return status_; }

 private:
  natsStatus status_;
};

// Throws NatsFault with the library's reason unless the status is NATS_OK.
void CheckNats(natsStatus status, const std::string& action);

// The library's objects, destroyed with their handles.
template <auto kDestroy>
struct NatsDestroyer {
  template <typename T>
  void operator()(T* object) const {
    kDestroy(object);
  }
};
using NatsOptionsHandle = std::unique_ptr<::natsOptions, NatsDestroyer<natsOptions_Destroy>>;
using NatsConnectionHandle = std::unique_ptr<natsConnection, NatsDestroyer<natsConnection_Destroy>>;
using NatsMessageHandle = std::unique_ptr<natsMsg, NatsDestroyer<natsMsg_Destroy>>;
using NatsSubscriptionHandle = std::unique_ptr<natsSubscription, NatsDestroyer<natsSubscription_Destroy>>;
using JetStreamHandle = std::unique_ptr<jsCtx, NatsDestroyer<jsCtx_Destroy>>;
using StreamInfoHandle = std::unique_ptr<jsStreamInfo, NatsDestroyer<jsStreamInfo_Destroy>>;
using MetaDataHandle = std::unique_ptr<jsMsgMetaData, NatsDestroyer<jsMsgMetaData_Destroy>>;

}  // namespace Fleet
