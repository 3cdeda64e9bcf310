// What one publication costs between its acceptance and the subscriptions that take it: the copy of the
// table's callables and each one's filter. A few of the subscriptions match.

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "apps/nornhesperd/cidInfo.h"
#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/messageStream.h"
#include "apps/nornhesperd/registry.h"
#include "bindings/guestDataService.h"

namespace {

namespace GuestDataSvc = Com::Tessaly::Norn::Hesper::GuestDataSvc;
using Com::Tessaly::Norn::Hesper::VmIdentifierType;

// A client that takes each element at once: the next result object is there when the element has been fired.
class EagerClient {
 public:
  GuestDataSvc::ResultCb MakeResult() {
    GuestDataSvc::ResultCb::ResultCb callbacks;
    callbacks.first = [this](const auto& value, const auto&, const auto&, auto&& continuation) {
      benchmark::DoNotOptimize(value->value.get());
      ++received;
      pending_ = std::move(continuation);
    };
    return GuestDataSvc::ResultCb(std::move(callbacks));
  }

  void TakeNext() {
    if (auto next = std::exchange(pending_, nullptr)) {
      next(GuestDataSvc::ResultCbPtr(std::make_shared<GuestDataSvc::ResultCb>(MakeResult())));
    }
  }

  std::uint64_t received = 0;

 private:
  GuestDataSvc::ResultCb::Continuation pending_;
};

constexpr const char kPublication[] =
    R"({"header":{"sequence":7,"createTime":"2026-11-24T21:15:00Z","topic":"app.web.load","token":"t"},)"
    R"("payload":{"category":"c","base64":"MTI="}})";

// As in the daemon: without its logger, every line of tracing would be written.
bool Initialize(NornHesper::GlobalContext* context) {
  char config[] = "/tmp/hesper-bench.XXXXXX";
  const int file = mkstemp(config);
  constexpr std::string_view kText = "<config><log><level>3</level></log></config>";
  const bool written = write(file, kText.data(), kText.size()) == static_cast<ssize_t>(kText.size());
  close(file);
  const bool initialized = written && !context->InitializeApplication(config).HasErrors();
  unlink(config);
  return initialized;
}

// Every eighth subscription matches, and always the first one.
void BM_Dispatch(benchmark::State& state) {
  auto* context = NornHesper::GlobalContext::Get();
  static const bool initialized = Initialize(context);
  if (!initialized) state.SkipWithError("the application does not start");
  auto& registry = context->GetRegistry();
  const auto count = static_cast<std::uint64_t>(state.range(0));
  static std::uint64_t firstId = 0;
  std::vector<EagerClient> clients(count);
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::vector<std::string> topics{i % 8 == 0 ? "app.web" : "app.db", "sys"};
    const std::set<std::string> vms{"vm-1", "vm-2"};
    Corvane::MakeRef<GuestDataSvc::MessageStream>(VmIdentifierType::FromText("MGR_VM_ID"), std::optional(vms),
                                                  std::optional(topics), 0, clients[i].MakeResult())
        ->RegisterSubscription();
  }
  const auto vm = std::make_shared<NornHesper::CidInfo>(NornHesper::CidInfo{5, "b", "u", "vm-1"});
  auto& io = context->GetIoService();
  for (auto _ : state) {
    registry.Publish(kPublication, sizeof kPublication - 1, vm);
    io.restart();
    io.poll();
    for (auto& client : clients) client.TakeNext();
  }
  std::uint64_t received = 0;
  for (const auto& client : clients) received += client.received;
  state.counters["deliveries"] =
      benchmark::Counter(static_cast<double>(received), benchmark::Counter::kIsRate);
  for (std::uint64_t i = 0; i < count; ++i) registry.Unregister(firstId++);
}
BENCHMARK(BM_Dispatch)->Arg(1)->Arg(10)->Arg(1000);

}  // namespace
