#include "fleet/exporter/httpServer.h"

#include <microhttpd.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "fleet/exporter/bounds.h"
#include "fleet/stream/peerSocket.h"
#include "platform/corvane/mutex.h"

namespace Fleet {
namespace {

using SteadyClock = std::chrono::steady_clock;

ConnectionWatch::Connection* WatchedOf(MHD_Connection* connection) {
  const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
  return info == nullptr ? nullptr : static_cast<ConnectionWatch::Connection*>(info->socket_context);
}

// Whose process has called, if it's one of this host.
std::optional<uid_t> CallerOf(MHD_Connection* connection, int descriptor) try {
  const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
  if (info == nullptr || info->client_addr->sa_family != AF_INET) return std::nullopt;
  const auto& address = *reinterpret_cast<const sockaddr_in*>(info->client_addr);
  if (ntohl(address.sin_addr.s_addr) >> 24U != IN_LOOPBACKNET) return std::nullopt;
  const auto peer = FindPeer(descriptor);
  return peer && peer->accepted ? std::optional(peer->user) : std::nullopt;
} catch (const std::exception&) {
  return std::nullopt;
}

MHD_Result CollectField(void* fields, MHD_ValueKind /*kind*/, const char* name, std::size_t nameSize,
                        const char* value, std::size_t valueSize) {
  static_cast<Fields*>(fields)->emplace_back(
      std::string(name, nameSize), value == nullptr ? std::string() : std::string(value, valueSize));
  return MHD_YES;
}

// One request and, when it comes, its answer. The library's thread puts the connection to sleep while there
// is none; the answer wakes it.
class Exchange final {
 public:
  Exchange(MHD_Connection* connection, const char* method, const char* path) : connection_(connection) {
    request_.method = method;
    request_.path = path;
    request_.user = WatchedOf(connection)->user;
    MHD_get_connection_values_n(connection, MHD_HEADER_KIND, &CollectField, &request_.headers);
    MHD_get_connection_values_n(connection, MHD_GET_ARGUMENT_KIND, &CollectField, &request_.query);
    MHD_get_connection_values_n(connection, MHD_COOKIE_KIND, &CollectField, &request_.cookies);
  }

  const Request& request() const { return request_; }

  bool AnnouncesTooMuch() const {
    const auto length = request_.Header("Content-Length");
    return !length || std::strtoull(std::string(*length).c_str(), nullptr, 10) > kMostBody;
  }

  // What is too much is taken and dropped: the library lets nobody answer before the end.
  void TakeBody(std::string_view bytes) {
    isTooMuch_ = isTooMuch_ || request_.body.size() + bytes.size() > kMostBody;
    if (!isTooMuch_) request_.body.append(bytes);
  }
  bool IsTooMuch() const { return isTooMuch_; }

  void Take(Answer answer) {
    const Corvane::MutexLock lock(mutex_);
    answer_ = std::move(answer);
    if (std::exchange(sleeps_, false)) MHD_resume_connection(connection_);
  }

  // Nothing: there is none yet, and the connection sleeps.
  std::unique_ptr<Answer> AnswerOrSleep() {
    const Corvane::MutexLock lock(mutex_);
    if (answer_) return std::make_unique<Answer>(std::move(*answer_));
    sleeps_ = true;
    MHD_suspend_connection(connection_);
    return nullptr;
  }

  bool isHandled = false;

 private:
  MHD_Connection* const connection_;
  Request request_;
  bool isTooMuch_ = false;
  Corvane::Mutex mutex_;
  std::optional<Answer> answer_ CORVANE_GUARDED_BY(mutex_);
  bool sleeps_ CORVANE_GUARDED_BY(mutex_) = false;
};

struct StreamBody {
  MHD_Connection* connection;
  std::shared_ptr<BodyPipe> pipe;
};

ssize_t ReadStream(void* body, std::uint64_t /*position*/, char* bytes, std::size_t room) {
  const auto& stream = *static_cast<StreamBody*>(body);
  auto* const connection = stream.connection;
  const auto size = stream.pipe->Read(
      bytes, room, [connection] { MHD_suspend_connection(connection); },
      [connection] { MHD_resume_connection(connection); });
  return size < 0 ? MHD_CONTENT_READER_END_OF_STREAM : size;
}

void EndStream(void* body) {
  const std::unique_ptr<StreamBody> stream(static_cast<StreamBody*>(body));
  stream->pipe->End();
}

void FreeAnswer(void* answer) {
  delete static_cast<Answer*>(answer);
}

MHD_Response* MakeResponse(MHD_Connection* connection, std::unique_ptr<Answer> answer) {
  if (answer->stream) {
    constexpr std::size_t kBlock = 16U << 10U;
    return MHD_create_response_from_callback(
        MHD_SIZE_UNKNOWN, kBlock, &ReadStream,
        std::make_unique<StreamBody>(StreamBody{connection, answer->stream}).release(), &EndStream);
  }
  auto* const kept = answer.release();
  return MHD_create_response_from_buffer_with_free_callback_cls(kept->body.size(), kept->body.data(),
                                                                &FreeAnswer, kept);
}

}  // namespace

// What the library calls, on its thread.
struct ServerCalls {
  static MHD_Result Send(HttpServer& server, MHD_Connection* connection, std::unique_ptr<Answer> answer) {
    const auto status = answer->status;
    const auto headers = std::move(answer->headers);
    if (answer->stream) {
      server.watch_.EnterStream(WatchedOf(connection), answer->stream);
    } else {
      server.watch_.Enter(WatchedOf(connection), ConnectionWatch::Phase::Answer, SteadyClock::now());
    }
    auto* const response = MakeResponse(connection, std::move(answer));
    if (response == nullptr) return MHD_NO;
    for (const auto& [name, value] : headers) MHD_add_response_header(response, name.c_str(), value.c_str());
    const auto result = MHD_queue_response(connection, status, response);
    MHD_destroy_response(response);
    return result;
  }

  static MHD_Result SendStatus(HttpServer& server, MHD_Connection* connection, unsigned status) {
    return Send(server, connection, std::make_unique<Answer>(Answer{.status = status}));
  }

  static MHD_Result Begin(HttpServer& server, MHD_Connection* connection, const char* path,
                          const char* method, void** context) {
    server.watch_.Enter(WatchedOf(connection), ConnectionWatch::Phase::Request, SteadyClock::now());
    auto exchange = std::make_shared<Exchange>(connection, method, path);
    const bool isTooMuch = exchange->AnnouncesTooMuch();
    *context = std::make_unique<std::shared_ptr<Exchange>>(std::move(exchange)).release();
    return isTooMuch ? SendStatus(server, connection, MHD_HTTP_CONTENT_TOO_LARGE) : MHD_YES;
  }

  static MHD_Result Finish(HttpServer& server, MHD_Connection* connection,
                           const std::shared_ptr<Exchange>& exchange) {
    if (exchange->IsTooMuch()) return SendStatus(server, connection, MHD_HTTP_CONTENT_TOO_LARGE);
    if (!std::exchange(exchange->isHandled, true)) {
      server.watch_.Enter(WatchedOf(connection), ConnectionWatch::Phase::Answer, SteadyClock::now());
      server.handler_(exchange->request(), [exchange](Answer answer) { exchange->Take(std::move(answer)); });
    }
    auto answer = exchange->AnswerOrSleep();
    return answer ? Send(server, connection, std::move(answer)) : MHD_YES;
  }

  // Once for the head, for each piece of the body, for the end, and after each sleep.
  static MHD_Result OnRequest(void* server, MHD_Connection* connection, const char* path, const char* method,
                              const char* /*version*/, const char* bytes, std::size_t* size,
                              void** context) try {
    auto& self = *static_cast<HttpServer*>(server);
    if (*context == nullptr) return Begin(self, connection, path, method, context);
    const auto exchange = *static_cast<std::shared_ptr<Exchange>*>(*context);
    if (*size == 0) return Finish(self, connection, exchange);
    exchange->TakeBody({bytes, *size});
    *size = 0;
    return MHD_YES;
  } catch (const std::exception&) {
    return MHD_NO;
  }

  static void OnCompleted(void* server, MHD_Connection* connection, void** context,
                          MHD_RequestTerminationCode /*how*/) {
    auto& self = *static_cast<HttpServer*>(server);
    const std::unique_ptr<std::shared_ptr<Exchange>> exchange(
        static_cast<std::shared_ptr<Exchange>*>(std::exchange(*context, nullptr)));
    self.watch_.Enter(WatchedOf(connection), ConnectionWatch::Phase::Idle, SteadyClock::now());
  }

  static void OnConnection(void* server, MHD_Connection* connection, void** context,
                           MHD_ConnectionNotificationCode what) {
    auto& self = *static_cast<HttpServer*>(server);
    if (what == MHD_CONNECTION_NOTIFY_CLOSED) {
      self.watch_.Remove(static_cast<ConnectionWatch::Connection*>(*context));
      return;
    }
    const auto* const info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD);
    const int descriptor = info->connect_fd;
    const auto user = CallerOf(connection, descriptor);
    if (!self.watch_.HasRoomFor(user)) shutdown(descriptor, SHUT_RDWR);
    auto* const watched = self.watch_.Add(descriptor, user, SteadyClock::now());
    *context = watched;
  }
};

HttpServer::HttpServer(const ListenAddress& address, Handler handler) : handler_(std::move(handler)) {
  const unsigned family = address.IsV6() ? unsigned{MHD_USE_IPv6} : 0U;
  daemon_ = MHD_start_daemon(
      MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | family, 0, nullptr, nullptr,
      &ServerCalls::OnRequest, this, MHD_OPTION_SOCK_ADDR, address.Get(), MHD_OPTION_CONNECTION_LIMIT,
      kMostConnections, MHD_OPTION_CONNECTION_MEMORY_LIMIT, kConnectionBytes, MHD_OPTION_CONNECTION_TIMEOUT,
      static_cast<unsigned>(kIdleTime.count()), MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_COMPLETED,
      &ServerCalls::OnCompleted, this, MHD_OPTION_NOTIFY_CONNECTION, &ServerCalls::OnConnection, this,
      MHD_OPTION_END);
  if (daemon_ == nullptr) {
    throw std::system_error(errno, std::generic_category(), "cannot listen at " + address.Host());
  }
}

HttpServer::~HttpServer() {
  watch_.EndStreams();
  MHD_stop_daemon(daemon_);
}

unsigned HttpServer::Port() const {
  const auto* const info = MHD_get_daemon_info(daemon_, MHD_DAEMON_INFO_BIND_PORT);
  return info == nullptr ? 0U : info->port;
}

}  // namespace Fleet
