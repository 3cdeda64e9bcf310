// Legs of a hostile token service. What can be read goes into the next request, where it has to be just as
// it was read.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/corvane/exception.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/key.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "sso/requestBuilder.h"
#include "sso/responseHandler.h"
#include "sso/ssoExceptions.h"
#include "sso/wsTrustNames.h"

namespace {

using namespace SsoClient;
using Corvane::Xml::Node;

void Require(bool condition) {
  if (!condition) std::abort();
}

void CheckNext(const NegotiationLeg& leg) {
  std::string action;
  const auto text = RequestBuilderImpl().BuildContinueGss(leg.contextId, *leg.leg, action);
  const auto root = Corvane::Xml::ParseText(text)->GetRoot();
  const auto answer = root.GetFirstChild().GetNextSibling().GetFirstChild();
  Require(answer.IsElement("RequestSecurityTokenResponse", Names::kTrust) && !answer.GetNextSibling());
  Require(answer.GetAttribute("Context") == leg.contextId);
  const auto exchange = answer.GetFirstChild();
  Require(exchange.IsElement("BinaryExchange", Names::kTrust) && !exchange.GetNextSibling());
  const auto bytes = exchange.GetFirstChild();
  Require(Corvane::StringUtil::Base64Decode(bytes ? bytes.GetText() : std::string_view()) == *leg.leg);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string part(data, data + size);
  ResponseHandlerImpl handler([](const SamlToken&) -> Corvane::Ref<Corvane::Xml::Security::Key> {
    throw InvalidSignatureException("nobody");
  });
  try {
    const auto leg = handler.ReadNegotiationLeg(std::string("<S:Envelope xmlns:S=\"") + Names::kSoap +
                                                "\"><S:Body xmlns=\"" + Names::kTrust + "\">" + part +
                                                "</S:Body></S:Envelope>");
    Require(!leg.token);
    if (leg.leg) CheckNext(leg);
  } catch (const SsoException&) {
  } catch (const ParseException&) {
  } catch (const InvalidSignatureException&) {
  }
  return 0;
}
