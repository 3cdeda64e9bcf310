#pragma once

#include <cstddef>
#include <string>

#include "sso/exchange.h"

namespace SsoClient {

struct HttpsSettings {
  std::string url;     // only https
  std::string caFile;  // PEM: the authorities that the service's certificate is checked against, no others
  int connectSeconds = 10;
  int totalSeconds = 60;
  std::size_t largestAnswer = 1 << 20;  // bytes
};

// Posts over HTTPS, each time on a new connection: TLS 1.2 or newer, the service's certificate and host name
// checked. Proxies, passwords and cookies of the environment or of the user's home aren't used.
class HttpsExchange final : public Exchange {
 public:
  // Throws Corvane::InvalidArgumentException for a URL that does not begin with https://.
  explicit HttpsExchange(HttpsSettings settings);

  // An answer is one with the status 200 or 500, an XML content type, and a body that is neither empty nor
  // too large: it is cut off as soon as it is.
  SoapAnswer Post(const std::string& soapAction, const std::string& request) override;

 private:
  const HttpsSettings settings_;
};

}  // namespace SsoClient
