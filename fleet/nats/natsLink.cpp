#include "fleet/nats/natsLink.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <mutex>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace Fleet {
namespace {

constexpr std::int64_t kConnectMilliseconds = 3000;
constexpr std::int64_t kWriteMilliseconds = 10'000;
constexpr std::int64_t kPingMilliseconds = 10'000;
constexpr int kMostPingsOut = 2;
constexpr std::int64_t kShortestWaitMilliseconds = 250;
constexpr std::int64_t kLongestWaitMilliseconds = 2000;
// What is published while there is no connection fails instead of being kept in here as well.
constexpr int kReconnectBytes = 64 << 10;
constexpr int kMostPendingMessages = 8192;
constexpr std::size_t kLongestError = 255;  // of the library's

// Who listens to which link. The library may call once more after a connection has been destroyed; it has the
// number alone, which then leads to nobody.
struct Listeners {
  std::mutex mutex;
  std::uintptr_t lastId = 0;
  std::map<std::uintptr_t, LinkEvents> events;
};

Listeners& AllListeners() {
  static auto* const listeners = new Listeners;
  return *listeners;
}

std::uintptr_t Listen(LinkEvents events) {
  auto& all = AllListeners();
  const std::lock_guard lock(all.mutex);
  all.events.emplace(++all.lastId, std::move(events));
  return all.lastId;
}

void StopListening(std::uintptr_t id) {
  auto& all = AllListeners();
  const std::lock_guard lock(all.mutex);
  all.events.erase(id);
}

template <typename Call>
void Tell(void* closure, const Call& call) {
  auto& all = AllListeners();
  const std::lock_guard lock(all.mutex);
  const auto found = all.events.find(reinterpret_cast<std::uintptr_t>(closure));
  if (found != all.events.end()) call(found->second);
}

// The library puts its own file and line in front: "(conn.c:2088): ".
std::string_view WithoutPlace(std::string_view text) {
  const auto end = text.find("): ");
  return text.starts_with('(') && end != std::string_view::npos ? text.substr(end + 3) : text;
}

// The library's own buffer, which the next error may overwrite meanwhile: the text is for people alone.
std::string LastError(natsConnection* connection) {
  const char* text = nullptr;
  natsConnection_GetLastError(connection, &text);
  return text != nullptr ? std::string(text, strnlen(text, kLongestError)) : "";
}

void OnDisconnected(natsConnection* connection, void* closure) {
  Tell(closure, [connection](const LinkEvents& events) {
    if (events.onDisconnected) events.onDisconnected(LastError(connection));
  });
}

void OnReconnected(natsConnection*, void* closure) {
  Tell(closure, [](const LinkEvents& events) {
    if (events.onReconnected) events.onReconnected();
  });
}

void OnError(natsConnection* connection, natsSubscription*, natsStatus status, void* closure) {
  Tell(closure, [connection, status](const LinkEvents& events) {
    if (!events.onError) return;
    const auto reason = LastError(connection);
    events.onError(status, reason.empty() ? natsStatus_GetText(status) : reason);
  });
}

// After a failure of all servers. The whole fleet loses its connections at the same moment, and shall not
// come back at the same moment.
std::int64_t ReconnectDelay(natsConnection*, int attempts, void*) {
  thread_local std::minstd_rand random{std::random_device{}()};
  const auto longest = std::min(kLongestWaitMilliseconds, kShortestWaitMilliseconds << std::min(attempts, 3));
  return std::uniform_int_distribution<std::int64_t>(longest / 2, longest)(random);
}

void SetCredentials(::natsOptions* options, const std::string& path) {
  std::ifstream file(path);
  if (!file) throw NatsFault(NATS_ERR, "cannot read the credentials in " + path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.find("BEGIN NATS USER JWT") != std::string::npos) {
    CheckNats(natsOptions_SetUserCredentialsFromFiles(options, path.c_str(), nullptr), "credentials");
    return;
  }
  const auto line = text.substr(0, text.find_first_of("\r\n"));
  const auto colon = line.find(':');
  if (colon == std::string::npos) {
    throw NatsFault(NATS_ERR, path + " holds neither a user's JWT nor USER:PASSWORD");
  }
  CheckNats(natsOptions_SetUserInfo(options, line.substr(0, colon).c_str(), line.substr(colon + 1).c_str()),
            "credentials");
}

void SetTls(::natsOptions* options, const NatsOptions& wanted) {
  if (wanted.tlsCa.empty() && wanted.tlsCert.empty()) return;
  CheckNats(natsOptions_SetSecure(options, true), "TLS");
  if (!wanted.tlsCa.empty()) {
    CheckNats(natsOptions_LoadCATrustedCertificates(options, wanted.tlsCa.c_str()), "CA in " + wanted.tlsCa);
  }
  if (!wanted.tlsCert.empty()) {
    CheckNats(natsOptions_LoadCertificatesChain(options, wanted.tlsCert.c_str(), wanted.tlsKey.c_str()),
              "certificate in " + wanted.tlsCert);
  }
}

void SetServers(::natsOptions* options, const std::vector<std::string>& servers) {
  std::vector<const char*> urls(servers.size());
  std::ranges::transform(servers, urls.begin(), [](const std::string& server) { return server.c_str(); });
  if (urls.empty()) urls.push_back("nats://127.0.0.1:4222");
  CheckNats(natsOptions_SetServers(options, urls.data(), static_cast<int>(urls.size())), "servers");
}

void SetBounds(::natsOptions* options) {
  natsOptions_SetTimeout(options, kConnectMilliseconds);
  natsOptions_SetWriteDeadline(options, kWriteMilliseconds);
  natsOptions_SetPingInterval(options, kPingMilliseconds);
  natsOptions_SetMaxPingsOut(options, kMostPingsOut);
  natsOptions_SetReconnectBufSize(options, kReconnectBytes);
  natsOptions_SetMaxPendingMsgs(options, kMostPendingMessages);
  natsOptions_SetFailRequestsOnDisconnect(options, true);
  natsOptions_SetMaxReconnect(options, -1);
  natsOptions_SetCustomReconnectDelay(options, &ReconnectDelay, nullptr);
}

void SetEvents(::natsOptions* options, std::uintptr_t id) {
  auto* const closure = reinterpret_cast<void*>(id);  // NOLINT(performance-no-int-to-ptr): it's a number
  natsOptions_SetDisconnectedCB(options, &OnDisconnected, closure);
  natsOptions_SetReconnectedCB(options, &OnReconnected, closure);
  natsOptions_SetErrorHandler(options, &OnError, closure);
}

NatsConnectionHandle Connect(const NatsOptions& wanted, const std::string& name,
                             const std::string& inboxPrefix, std::uintptr_t id) {
  ::natsOptions* made = nullptr;
  CheckNats(natsOptions_Create(&made), "options");
  const NatsOptionsHandle options(made);
  SetServers(made, wanted.servers);
  if (!wanted.credentials.empty()) SetCredentials(made, wanted.credentials);
  SetTls(made, wanted);
  SetBounds(made);
  SetEvents(made, id);
  CheckNats(natsOptions_SetName(made, name.c_str()), "name");
  CheckNats(natsOptions_SetCustomInboxPrefix(made, inboxPrefix.c_str()), "inbox");
  natsConnection* connection = nullptr;
  CheckNats(natsConnection_Connect(&connection, made), "cannot connect to NATS");
  return NatsConnectionHandle(connection);
}

}  // namespace

void CheckNats(natsStatus status, const std::string& action) {
  if (status == NATS_OK) return;
  natsStatus last = NATS_OK;
  const char* const detail = nats_GetLastError(&last);
  const std::string general = natsStatus_GetText(status);
  const auto special = last == status ? WithoutPlace(detail != nullptr ? detail : "") : "";
  std::string text = action + ": " + general;
  if (!special.empty() && special != general) text.append(" (").append(special).append(")");
  throw NatsFault(status, text);
}

NatsLink::NatsLink(const NatsOptions& options, const std::string& name, const std::string& inboxPrefix,
                   LinkEvents events)
    : id_(Listen(std::move(events))) {
  try {
    connection_ = Connect(options, name, inboxPrefix, id_);
  } catch (...) {
    StopListening(id_);
    throw;
  }
}

NatsLink::~NatsLink() {
  StopListening(id_);
}

bool NatsLink::IsConnected() const {
  return natsConnection_Status(connection_.get()) == NATS_CONN_STATUS_CONNECTED;
}

bool NatsLink::IsClosed() const {
  return natsConnection_IsClosed(connection_.get());
}

std::string NatsLink::Server() const {
  char url[512] = "";
  natsConnection_GetConnectedUrl(connection_.get(), url, sizeof url);
  std::string text(url);
  if (const auto at = text.rfind('@'); at != std::string::npos) {
    const auto scheme = text.find("://");
    const auto begin = scheme == std::string::npos ? 0 : scheme + 3;
    text.erase(begin, at + 1 - begin);
  }
  return text;
}

JetStreamHandle NatsLink::JetStream(jsOptions* options) const {
  jsCtx* context = nullptr;
  CheckNats(natsConnection_JetStream(&context, connection_.get(), options), "JetStream");
  return JetStreamHandle(context);
}

void CloseNats() {
  nats_CloseAndWait(5000);
}

}  // namespace Fleet
