#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "sso/holderOfKeyConfig.h"
#include "sso/tokenSpec.h"
#include "sso/xmlBuilder.h"

namespace SsoClient {

// Makes the requests to a token service: each operation gives the text of one SOAP 1.1 request, and the value
// of its SOAPAction header. The first request of a negotiation also gives the negotiation's id, which the
// next ones repeat, unless the service has given another one. Throws Corvane::InvalidArgumentException and
// Corvane::InvalidStateException.
class RequestBuilder {
 public:
  virtual std::string BuildAcquireToken(const std::string& user, const std::string& password,
                                        const TokenSpec& spec, std::string& soapAction) = 0;
  virtual std::string BuildAcquireTokenByGss(const TokenSpec& spec, const std::string& leg,
                                             std::string& soapAction, std::string* contextId = nullptr) = 0;
  virtual std::string BuildContinueGss(const std::string& contextId, const std::string& leg,
                                       std::string& soapAction) = 0;
  virtual std::string BuildAcquireTokenByCertificate(const TokenSpec& spec, std::string& soapAction) = 0;
  virtual std::string BuildAcquireTokenByToken(const SamlToken& token, const TokenSpec& spec,
                                               std::string& soapAction) = 0;
  virtual std::string BuildValidateToken(const SamlToken& token, std::string& soapAction) = 0;
  virtual std::string BuildRenewToken(const SamlToken& token, std::int64_t lifetimeSec,
                                      std::string& soapAction) = 0;

  RequestBuilder() = default;
  RequestBuilder(const RequestBuilder&) = delete;
  RequestBuilder& operator=(const RequestBuilder&) = delete;
  virtual ~RequestBuilder() = default;
};

// Used by any thread. Errors of the signature pass as Corvane::Xml::Security::XmlSecurityException.
class RequestBuilderImpl final : public RequestBuilder {
 public:
  explicit RequestBuilderImpl(std::optional<HolderOfKeyConfig> holderOfKey = {});

  std::string BuildAcquireToken(const std::string& user, const std::string& password, const TokenSpec& spec,
                                std::string& soapAction) override;
  std::string BuildAcquireTokenByGss(const TokenSpec& spec, const std::string& leg, std::string& soapAction,
                                     std::string* contextId = nullptr) override;
  std::string BuildContinueGss(const std::string& contextId, const std::string& leg,
                               std::string& soapAction) override;
  std::string BuildAcquireTokenByCertificate(const TokenSpec& spec, std::string& soapAction) override;
  std::string BuildAcquireTokenByToken(const SamlToken& token, const TokenSpec& spec,
                                       std::string& soapAction) override;
  std::string BuildValidateToken(const SamlToken& token, std::string& soapAction) override;
  std::string BuildRenewToken(const SamlToken& token, std::int64_t lifetimeSec,
                              std::string& soapAction) override;

 private:
  // Whether the token is to be bound to the client's key.
  bool IsProof(const TokenSpec& spec) const;
  // Whether the request has to prove that the client has that key. A token for another user isn't bound to
  // it.
  bool ProvesKey(const TokenSpec& spec) const { return IsProof(spec) && !spec.delegateTo; }
  void CheckKey(const std::string& action) const;
  std::string Sign(XMLBuilderPtr envelope, std::optional<std::string> tokenId = {}) const;
  // Signs with the certificate, or leaves the request unsigned.
  std::string Finish(bool isSigned, XMLBuilderPtr body, XMLBuilderPtr authentication = nullptr) const;

  const std::optional<HolderOfKeyConfig> holderOfKey_;
};

}  // namespace SsoClient
