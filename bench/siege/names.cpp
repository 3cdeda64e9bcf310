// Callers without credentials who want to fill the log and the audit: names that are long, that grow when
// they're escaped, or that come in great number.

#include <string>

#include "bench/siege/attacks.h"
#include "bench/siege/client.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::size_t kLongName = 1'200'000;
constexpr std::size_t kControlBytes = 8192;
constexpr int kCalls = 100;

std::string ControlBytes() {
  std::string text;
  for (std::size_t i = 0; i < kControlBytes; ++i) text += R"(\u0001)";
  return text;
}

// So many calls, evenly over the time.
void Repeat(const Assault& assault, const std::string& request, int calls) {
  const auto pause = (assault.end - assault.begin) / calls;
  for (auto due = assault.begin; assault.GoesOn(); due += pause) {
    std::this_thread::sleep_until(due);
    if (!Ask(assault.port, request).empty()) assault.Count();
  }
}

}  // namespace

void LongNames(const Assault& assault) {
  Repeat(assault, AnonymousCall("\"com.siege." + std::string(kLongName, 'x') + ".call\"", "{}"), kCalls);
}

void ControlNames(const Assault& assault) {
  Repeat(assault, AnonymousCall("\"com.siege." + ControlBytes() + '.' + ControlBytes() + '"', "{}"), kCalls);
}

// All that a caller says of himself and of his call beside its name.
void LongContexts(const Assault& assault) {
  const std::string name(kLongName / 4, 'x');
  const auto body = R"({"jsonrpc":"2.0","id":1,"method":")" + std::string(kSubscribe) +
                    R"(","params":{"ctx":{"appCtx":{"opId":")" + ControlBytes() + name +
                    R"(","acceptLanguage":")" + name + R"("},"securityCtx":{"schemeId":")" + ControlBytes() +
                    name + R"(","userName":")" + name + R"("}},"input":{}}})";
  Repeat(assault, Post(body, "Connection: close\r\n"), kCalls);
}

void ManyRefusals(const Assault& assault) {
  constexpr int kManyCalls = 3000;
  Repeat(assault, AnonymousCall("\"com.siege." + std::string(2000, 'x') + ".call\"", "{}"), kManyCalls);
}

}  // namespace Siege
