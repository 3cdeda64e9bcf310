// What costs a stranger next to nothing: connections that end at once, and tokens that are right but for the
// signature.

#include <string>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/callers.h"
#include "bench/siege/client.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::size_t kForgers = 4;
constexpr auto kForgersPause = milliseconds(2);
constexpr int kConnectionsAtOnce = 20;  // connections, then a pause
constexpr auto kChurnPause = milliseconds(5);

// One byte in the middle of the signature is another one.
std::string Forged(std::string authorization) {
  auto& byte = authorization[authorization.size() - 40];
  byte = byte == 'A' ? 'B' : 'A';
  return authorization;
}

}  // namespace

void Churn(const Assault& assault) {
  while (assault.GoesOn()) {
    for (int i = 0; i < kConnectionsAtOnce; ++i) {
      if (i % 2 == 0) Testing::Connection(assault.port).Reset();
      if (i % 2 == 1) CanConnect(assault.port);
      assault.Count();
    }
    Sleep(kChurnPause);
  }
}

void ForgedTokens(const Assault& assault) {
  const auto request = Testing::CallRequest(kSubscribe, R"({"spec":{"vm_id_type":"MGR_VM_ID"}})", kStreaming,
                                            "Connection: close\r\n", Forged(Testing::Authorized()));
  CallAgainAndAgain(assault, std::vector<std::string>(kForgers, request), kForgersPause);
}

}  // namespace Siege
