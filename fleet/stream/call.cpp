#include "fleet/stream/call.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "fleet/stream/answer.h"
#include "fleet/stream/elementValue.h"
#include "fleet/stream/frameReader.h"
#include "fleet/stream/trustedConnection.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/corvane/wipedString.h"

namespace Fleet {
namespace {

using Kind = CallFault::Kind;
using Corvane::WipedString;

// Of a token's or password's file, and of an answer's head and error.
constexpr std::size_t kLongestSecret = 16U << 10;
constexpr std::size_t kLargestHead = 64U << 10;
constexpr std::size_t kLongestErrorText = 1024;

constexpr std::chrono::seconds kPatience{10};

// A secret from a file's first line, so that it doesn't show in the list of processes.
WipedString ReadSecret(const std::string& fileName) {
  std::ifstream file(fileName);
  WipedString line;
  auto& text = line.Reserve(kLongestSecret);
  text.resize(kLongestSecret);
  file.getline(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.fail()) throw CallFault(Kind::Refused, "cannot read " + fileName);
  text.resize(std::strlen(text.c_str()));
  if (text.ends_with('\r')) text.pop_back();
  return line;
}

// Anything else in it, a line end above all, would be more of the request than its token.
void CheckToken(const std::string& token) {
  const bool good = !token.empty() && token.size() <= kLongestSecret &&
                    std::all_of(token.begin(), token.end(), [](char c) { return c > 0x20 && c < 0x7f; });
  if (!good) throw CallFault(Kind::Refused, "the token is not one");
}

// Whatever curl copies of a secret is wiped when it's freed.
void StartCurl() {
  static const auto outcome = curl_global_init_mem(
      CURL_GLOBAL_DEFAULT, &std::malloc, &Corvane::WipingFree, &Corvane::WipingRealloc,
      [](const char* text) { return ::strdup(text); }, &std::calloc);
  if (outcome != CURLE_OK) throw CallFault(Kind::Refused, "the HTTP library does not start");
}

class Headers final {
 public:
  Headers() = default;
  Headers(const Headers&) = delete;
  Headers& operator=(const Headers&) = delete;
  ~Headers() { curl_slist_free_all(list_); }

  void Add(const std::string& line) {
    auto* longer = curl_slist_append(list_, line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    list_ = longer;
  }
  curl_slist* Get() const { return list_; }

 private:
  curl_slist* list_ = nullptr;
};

// One POST to the daemon. What is thrown behind curl's back is kept until the transfer has ended, since an
// exception must not pass through the C library in between.
class Exchange final {
 public:
  // Of the call as a whole, or of its connecting alone.
  enum class TimeLimit { Whole, Connecting };
  using OnSent = std::function<void()>;
  // False ends the transfer.
  using OnBody = std::function<bool(std::string_view)>;

  Exchange(const Caller& caller, const std::optional<std::string>& bearer, std::string body,
           const char* accept);
  // Whether the answer has come to its end; else onBody or a stop has ended it. Throws CallFault.
  bool Run(const std::stop_token& stop, TimeLimit limit, const OnSent& onSent, const OnBody& onBody);

 private:
  void Authenticate(const Caller& caller, const std::optional<std::string>& bearer);
  void SetCallbacks();
  bool Perform(const std::stop_token& stop);
  [[noreturn]] void Fail(CURLcode outcome) const;
  bool TakeHead(std::size_t bytes);
  bool TakeBody(std::string_view bytes);
  bool TakeProgress(curl_off_t sent);
  template <typename Action>
  bool Guard(Action action);

  long Status() const;
  CURL* curl() const { return curl_.get(); }

  const std::string url_;
  const unsigned port_;
  const std::string body_;
  Headers headers_;
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;

  Corvane::FileDescriptor connection_;
  OnSent onSent_;
  OnBody onBody_;
  bool done_ = false;
  std::size_t headSize_ = 0;
  std::string errorText_;
  std::exception_ptr fault_;
};

CURL* MakeCurl() {
  StartCurl();
  auto* curl = curl_easy_init();
  if (curl == nullptr) throw std::bad_alloc();
  return curl;
}

Exchange::Exchange(const Caller& caller, const std::optional<std::string>& bearer, std::string body,
                   const char* accept)
    : url_("http://127.0.0.1:" + std::to_string(caller.port) + "/api"),
      port_(caller.port),
      body_(std::move(body)),
      curl_(MakeCurl(), &curl_easy_cleanup) {
  headers_.Add("Content-Type: application/json");
  headers_.Add(std::string("Accept: ") + accept);
  headers_.Add("Expect:");
  Authenticate(caller, bearer);
  curl_easy_setopt(curl(), CURLOPT_URL, url_.c_str());
  curl_easy_setopt(curl(), CURLOPT_PROTOCOLS_STR, "http");
  curl_easy_setopt(curl(), CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  curl_easy_setopt(curl(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl(), CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl(), CURLOPT_POSTFIELDS, body_.c_str());
  curl_easy_setopt(curl(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body_.size()));
  curl_easy_setopt(curl(), CURLOPT_HTTPHEADER, headers_.Get());
  SetCallbacks();
}

void Exchange::Authenticate(const Caller& caller, const std::optional<std::string>& bearer) {
  if (!bearer && caller.tokenFile.empty() && !caller.user.empty()) {
    const auto password = ReadSecret(caller.passwordFile);
    curl_easy_setopt(curl(), CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl(), CURLOPT_USERNAME, caller.user.c_str());
    curl_easy_setopt(curl(), CURLOPT_PASSWORD, password.text().c_str());
  } else if (bearer || !caller.tokenFile.empty()) {
    const auto token = bearer ? WipedString(std::string_view(*bearer)) : ReadSecret(caller.tokenFile);
    CheckToken(token.text());
    WipedString line("Authorization: Bearer ");
    line.Append(token.text());
    headers_.Add(line.text());
  }
}

void Exchange::SetCallbacks() {
  // The connection stands already, and belongs to whom it should.
  curl_easy_setopt(curl(), CURLOPT_OPENSOCKETDATA, this);
  curl_easy_setopt(
      curl(), CURLOPT_OPENSOCKETFUNCTION, +[](void* self, curlsocktype, curl_sockaddr*) -> curl_socket_t {
        return static_cast<Exchange*>(self)->connection_.Release();
      });
  curl_easy_setopt(
      curl(), CURLOPT_SOCKOPTFUNCTION,
      +[](void*, curl_socket_t, curlsocktype) -> int { return CURL_SOCKOPT_ALREADY_CONNECTED; });
  // Anything but the number of bytes taken ends the transfer.
  curl_easy_setopt(curl(), CURLOPT_HEADERDATA, this);
  curl_easy_setopt(
      curl(), CURLOPT_HEADERFUNCTION,
      +[](char*, std::size_t size, std::size_t count, void* self) -> std::size_t {
        return static_cast<Exchange*>(self)->TakeHead(size * count) ? size * count : 0;
      });
  curl_easy_setopt(curl(), CURLOPT_WRITEDATA, this);
  curl_easy_setopt(
      curl(), CURLOPT_WRITEFUNCTION,
      +[](char* bytes, std::size_t size, std::size_t count, void* self) -> std::size_t {
        const std::string_view text(bytes, size * count);
        return static_cast<Exchange*>(self)->TakeBody(text) ? text.size() : 0;
      });
  curl_easy_setopt(curl(), CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(curl(), CURLOPT_XFERINFODATA, this);
  curl_easy_setopt(
      curl(), CURLOPT_XFERINFOFUNCTION,
      +[](void* self, curl_off_t, curl_off_t, curl_off_t, curl_off_t sent) -> int {
        return static_cast<Exchange*>(self)->TakeProgress(sent) ? 0 : 1;
      });
}

bool Exchange::Run(const std::stop_token& stop, TimeLimit limit, const OnSent& onSent, const OnBody& onBody) {
  onSent_ = onSent;
  onBody_ = onBody;
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  try {
    connection_ = ConnectTrusted(port_, stop, deadline);
    if (limit == TimeLimit::Whole) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      curl_easy_setopt(curl(), CURLOPT_TIMEOUT_MS, std::max(1L, long{left.count()}));
    }
    return Perform(stop);
  } catch (const CallFault&) {
    if (!stop.stop_requested()) throw;
    return false;
  }
}

bool Exchange::Perform(const std::stop_token& stop) {
  // curl closes its own descriptor whenever it likes; this one stays until nobody can ask for a stop any
  // more.
  const Corvane::FileDescriptor handle(fcntl(connection_.Get(), F_DUPFD_CLOEXEC, 0));
  const std::stop_callback cut(stop, [&handle] { shutdown(handle.Get(), SHUT_RDWR); });
  const auto outcome = curl_easy_perform(curl());
  if (done_ || stop.stop_requested()) return false;
  if (fault_) std::rethrow_exception(fault_);
  if (outcome != CURLE_OK || Status() != 200) Fail(outcome);
  return true;
}

void Exchange::Fail(CURLcode outcome) const {
  const auto status = Status();
  if (status != 0 && status != 200) {
    const auto text = "the daemon has answered with HTTP status " + std::to_string(status);
    throw CallFault(Kind::Refused, errorText_.empty() ? text : text + ": " + errorText_);
  }
  const bool noHttp = outcome == CURLE_UNSUPPORTED_PROTOCOL || outcome == CURLE_WEIRD_SERVER_REPLY;
  throw CallFault(noHttp ? Kind::Refused : Kind::Interrupted, url_ + ": " + curl_easy_strerror(outcome));
}

bool Exchange::TakeHead(std::size_t bytes) {
  headSize_ += bytes;
  return Guard([&] {
    if (headSize_ > kLargestHead) throw CallFault(Kind::Refused, "the answer's head is too long");
    return true;
  });
}

bool Exchange::TakeBody(std::string_view bytes) {
  return Guard([&] {
    if (Status() == 200) {
      done_ = !onBody_(bytes);
      return !done_;
    }
    errorText_.append(bytes.substr(0, kLongestErrorText - errorText_.size()));
    return errorText_.size() < kLongestErrorText;
  });
}

bool Exchange::TakeProgress(curl_off_t sent) {
  if (!onSent_ || sent < static_cast<curl_off_t>(body_.size())) return true;
  return Guard([this] {
    std::exchange(onSent_, nullptr)();
    return true;
  });
}

template <typename Action>
bool Exchange::Guard(Action action) {
  if (fault_) return false;
  try {
    return action();
  } catch (...) {
    fault_ = std::current_exception();
    return false;
  }
}

long Exchange::Status() const {
  long status = 0;
  curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
  return status;
}

Element TakeElement(const std::string& frame) {
  const DaemonAnswer answer(frame);
  try {
    auto element = ElementOf(answer.Result());
    element.json = JsonOf(answer.Result());
    return element;
  } catch (const std::runtime_error& fault) {
    throw CallFault(Kind::Refused, fault.what());
  }
}

}  // namespace

void Subscribe(const Caller& caller, const Wanted& wanted, const std::stop_token& stop,
               const std::function<void()>& onOpen, const std::function<bool(Element&&)>& take) {
  Exchange exchange(caller, std::nullopt, SubscriptionRequest(wanted),
                    "application/vnd.tessaly.mirel.clean.stream.json");
  FrameReader frames;
  const auto takeFrames = [&](std::string_view bytes) {
    frames.Feed(bytes);
    while (const auto frame = frames.Next()) {
      if (stop.stop_requested() || !take(TakeElement(*frame))) return false;
    }
    return true;
  };
  if (exchange.Run(stop, Exchange::TimeLimit::Connecting, onOpen, takeFrames)) {
    throw CallFault(Kind::Interrupted, "the daemon ended the stream");
  }
}

std::string FetchStats(const Caller& caller, const std::optional<std::string>& bearer) {
  constexpr std::size_t kLargestAnswer = 1U << 20;
  Exchange exchange(caller, bearer, StatsRequest(), "application/vnd.tessaly.mirel.cleanjson");
  std::string text;
  exchange.Run({}, Exchange::TimeLimit::Whole, nullptr, [&text](std::string_view bytes) {
    text.append(bytes);
    if (text.size() > kLargestAnswer) throw CallFault(Kind::Refused, "the daemon's answer is too long");
    return true;
  });
  const DaemonAnswer answer(text);
  return JsonOf(answer.Result());
}

}  // namespace Fleet
