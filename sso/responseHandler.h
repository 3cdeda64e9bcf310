#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "sso/parseToken.h"

namespace Corvane::Xml {
class Node;
}

namespace SsoClient {

// One answer within a GSS negotiation.
struct NegotiationLeg {
  std::string contextId;                   // empty when the answer has none
  std::optional<std::string> leg;          // bytes for the client's side of the negotiation
  std::shared_ptr<const SamlToken> token;  // once the negotiation is over
};

// Reads the answers of a token service, one operation for each kind of request. Throws
// InvalidCredentialsException when the service does not believe who asks, SsoException or ParseException for
// any other fault or an answer that is not what it should be, and what ParseToken throws.
class ResponseHandler {
 public:
  ResponseHandler() = default;
  ResponseHandler(const ResponseHandler&) = delete;
  ResponseHandler& operator=(const ResponseHandler&) = delete;
  virtual ~ResponseHandler() = default;

  virtual std::shared_ptr<const SamlToken> ReadAcquiredToken(const std::string& response) = 0;
  virtual std::shared_ptr<const SamlToken> ReadRenewedToken(const std::string& response) = 0;
  virtual bool ReadVerdict(const std::string& response) = 0;
  virtual NegotiationLeg ReadNegotiationLeg(const std::string& response) = 0;
  // Throws what the fault in it means; returns when there is none.
  virtual void ReadFault(const std::string& response) = 0;
};

// For SOAP 1.1 and WS-Trust 1.3. What is expected once must not be there twice. An answer may have up to 1
// MiB, and a token in it the given number of bytes in canonical form. Used by any thread.
class ResponseHandlerImpl final : public ResponseHandler {
 public:
  explicit ResponseHandlerImpl(KeyResolver keyResolver, std::size_t largestToken = kLargestToken)
      : keyResolver_(std::move(keyResolver)), largestToken_(largestToken) {}

  std::shared_ptr<const SamlToken> ReadAcquiredToken(const std::string& response) override;
  std::shared_ptr<const SamlToken> ReadRenewedToken(const std::string& response) override;
  bool ReadVerdict(const std::string& response) override;
  NegotiationLeg ReadNegotiationLeg(const std::string& response) override;
  void ReadFault(const std::string& response) override;

 private:
  std::shared_ptr<const SamlToken> ReadToken(const Corvane::Xml::Node& holder) const;
  std::shared_ptr<const SamlToken> ReadAssertion(const Corvane::Xml::Node& assertion) const;

  const KeyResolver keyResolver_;
  const std::size_t largestToken_;
};

}  // namespace SsoClient
