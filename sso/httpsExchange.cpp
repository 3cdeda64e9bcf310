#include "sso/httpsExchange.h"

#include <curl/curl.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "platform/corvane/exception.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/wipedString.h"
#include "sso/ssoExceptions.h"

namespace SsoClient {
namespace {

constexpr std::string_view kScheme = "https://";
constexpr std::size_t kLargestHead = 65536;
constexpr int kOk = 200;

using Handle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

[[noreturn]] void Fail(const std::string& reason) {
  throw CommunicationException("Token service: " + Corvane::Detail::EscapeLine(reason));
}

// Takes an answer's bytes within their limits.
class Receiver {
 public:
  explicit Receiver(std::size_t largestBody) : largestBody_(largestBody) {}

  static std::size_t OnHead(char*, std::size_t size, std::size_t count, void* receiver) {
    return static_cast<Receiver*>(receiver)->TakeHead(size * count);
  }
  static std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* receiver) {
    return static_cast<Receiver*>(receiver)->TakeBody({bytes, size * count});
  }

  bool HasOverflowed() const { return overflowed_; }
  std::string TakeText() { return std::move(text_); }

 private:
  // Anything but the number of bytes ends the transfer.
  static constexpr std::size_t kStop = 0;

  std::size_t TakeHead(std::size_t size) {
    headBytes_ += size;
    overflowed_ = overflowed_ || headBytes_ > kLargestHead;
    return overflowed_ ? kStop : size;
  }

  std::size_t TakeBody(std::string_view bytes) try {
    overflowed_ = overflowed_ || bytes.size() > largestBody_ - text_.size();
    if (overflowed_) return kStop;
    text_.append(bytes);
    return bytes.size();
  } catch (const std::bad_alloc&) {
    return kStop;  // no exception may pass through the C library
  }

  const std::size_t largestBody_;
  std::size_t headBytes_ = 0;
  std::string text_;
  bool overflowed_ = false;
};

Headers MakeHeaders(const std::string& soapAction) {
  Headers headers(nullptr, &curl_slist_free_all);
  for (const auto& line :
       {std::string("Content-Type: text/xml; charset=utf-8"), std::string("Accept: text/xml"),
        "SOAPAction: \"" + soapAction + "\"", std::string("Expect:")}) {
    auto* longer = curl_slist_append(headers.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(headers.release());
    headers.reset(longer);
  }
  return headers;
}

void SetTrust(CURL* curl, const HttpsSettings& settings) {
  curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_SSLVERSION, long{CURL_SSLVERSION_TLSv1_2});
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(curl, CURLOPT_CAINFO, settings.caFile.c_str());
  // Otherwise the system's folder of authorities would be trusted as well.
  curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  // The request holds a password, which a proxy from the environment would see.
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl, CURLOPT_NETRC, long{CURL_NETRC_IGNORED});
}

void SetLimits(CURL* curl, const HttpsSettings& settings) {
  curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, long{CURL_HTTP_VERSION_1_1});
  curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, long{settings.connectSeconds});
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, long{settings.totalSeconds});
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);  // timeouts without SIGALRM, which is the whole process's
}

bool IsXml(const char* contentType) {
  if (contentType == nullptr) return false;
  std::string_view type(contentType);
  type = type.substr(0, type.find_first_of("; \t"));
  return curl_strequal(std::string(type).c_str(), "text/xml") != 0 ||
         curl_strequal(std::string(type).c_str(), "application/soap+xml") != 0;
}

// The status of an answer that has come completely.
int CheckedStatus(CURL* curl) {
  long status = 0;
  const char* contentType = nullptr;
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &contentType);
  const bool isXml = IsXml(contentType);
  if (status != kOk && !(status == kFaultStatus && isXml)) {
    Fail("the answer has the HTTP status " + std::to_string(status));
  }
  if (!isXml) {
    Fail(contentType == nullptr ? std::string("the answer has no content type")
                                : "the answer is no XML, but " + std::string(contentType));
  }
  return static_cast<int>(status);
}

// The library copies small requests, and frees the copies.
void StartLibrary() {
  static const CURLcode outcome =
      curl_global_init_mem(CURL_GLOBAL_DEFAULT, &std::malloc, &Corvane::WipingFree, &Corvane::WipingRealloc,
                           &strdup, &std::calloc);
  if (outcome != CURLE_OK) Fail("the HTTP library does not start");
}

}  // namespace

HttpsExchange::HttpsExchange(HttpsSettings settings) : settings_(std::move(settings)) {
  if (curl_strnequal(settings_.url.c_str(), kScheme.data(), kScheme.size()) == 0) {
    throw Corvane::InvalidArgumentException("The token service's URL must begin with https://");
  }
}

SoapAnswer HttpsExchange::Post(const std::string& soapAction, const std::string& request) {
  StartLibrary();
  const Handle curl(curl_easy_init(), &curl_easy_cleanup);
  if (!curl) Fail("the HTTP library does not start");
  const auto headers = MakeHeaders(soapAction);
  Receiver receiver(settings_.largestAnswer);
  std::array<char, CURL_ERROR_SIZE> reason{};
  SetTrust(curl.get(), settings_);
  SetLimits(curl.get(), settings_);
  curl_easy_setopt(curl.get(), CURLOPT_URL, settings_.url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, request.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.size()));
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, &Receiver::OnHead);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERDATA, &receiver);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &Receiver::OnBody);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &receiver);
  curl_easy_setopt(curl.get(), CURLOPT_ERRORBUFFER, reason.data());
  const auto outcome = curl_easy_perform(curl.get());
  if (receiver.HasOverflowed()) Fail("the answer is too large");
  if (outcome != CURLE_OK) Fail(reason[0] != '\0' ? reason.data() : curl_easy_strerror(outcome));
  const auto status = CheckedStatus(curl.get());
  auto text = receiver.TakeText();
  if (text.empty()) Fail("the answer is empty");
  return {status, std::move(text)};
}

}  // namespace SsoClient
