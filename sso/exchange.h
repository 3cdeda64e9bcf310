#pragma once

#include <string>

namespace SsoClient {

// The HTTP status of a SOAP fault (SOAP 1.1, section 6.2).
inline constexpr int kFaultStatus = 500;

// What a token service answered.
struct SoapAnswer {
  int status = 0;  // of HTTP: 200, or kFaultStatus for what should be a SOAP fault
  std::string text;
};

// The connection to a token service. Used by any thread.
class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  virtual ~Exchange() = default;

  // Posts one SOAP 1.1 request and waits for its answer. Throws CommunicationException when there is none.
  virtual SoapAnswer Post(const std::string& soapAction, const std::string& request) = 0;
};

}  // namespace SsoClient
