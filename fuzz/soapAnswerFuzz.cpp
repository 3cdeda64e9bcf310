// Answers of a hostile token service, read in every way. No token may come of them, as nobody can sign one;
// each fault is one of those that callers expect, and its text is one line.

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>

#include "platform/corvane/exception.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/key.h"
#include "sso/responseHandler.h"
#include "sso/ssoExceptions.h"

namespace {

using namespace SsoClient;

void Require(bool condition) {
  if (!condition) std::abort();
}

bool IsRead(const std::function<void()>& read) {
  try {
    read();
    return true;
  } catch (const SsoException& fault) {
    Require(Corvane::Detail::IsPlainLine(fault.GetText()));
  } catch (const ParseException&) {
  } catch (const InvalidSignatureException&) {
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string answer(data, data + size);
  ResponseHandlerImpl handler([](const SamlToken&) -> Corvane::Ref<Corvane::Xml::Security::Key> {
    throw InvalidSignatureException("nobody");
  });
  Require(!IsRead([&] { handler.ReadAcquiredToken(answer); }));
  Require(!IsRead([&] { handler.ReadRenewedToken(answer); }));
  const bool isVerdict = IsRead([&] { handler.ReadVerdict(answer); });
  const bool isLeg = IsRead([&] { Require(!handler.ReadNegotiationLeg(answer).token); });
  const bool isNoFault = IsRead([&] { handler.ReadFault(answer); });
  Require(isNoFault || (!isVerdict && !isLeg));
  return 0;
}
