// What one publication costs between its acceptance and the subscriptions that take it: the copy of the
// table's callables and each one's filter, and what it holds of memory while it waits for that.

#include <benchmark/benchmark.h>

#include <malloc.h>
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
#include "lib/public/api/guestLimits.h"
#include "testing/guestText.h"

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

const std::string kPublication = Testing::PublicationText(7, "app.web.load", "MTI=");

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

NornHesper::GlobalContext* Context(benchmark::State& state) {
  auto* context = NornHesper::GlobalContext::Get();
  static const bool initialized = Initialize(context);
  if (!initialized) state.SkipWithError("the application does not start");
  return context;
}

const auto kVm = std::make_shared<NornHesper::CidInfo>(NornHesper::CidInfo{5, "b", "u", "vm-1"});

// The subscriptions of some clients; every eighth takes what is published here, and always the first one.
class Subscriptions {
 public:
  Subscriptions(NornHesper::Registry& registry, std::uint64_t count) : registry_(registry), clients(count) {
    for (std::uint64_t i = 0; i < count; ++i) {
      const std::vector<std::string> topics{i % 8 == 0 ? "app.web" : "app.db", "sys"};
      const std::set<std::string> vms{"vm-1", "vm-2"};
      Corvane::MakeRef<GuestDataSvc::MessageStream>(VmIdentifierType::FromText("MGR_VM_ID"),
                                                    std::optional(vms), std::optional(topics), 0,
                                                    clients[i].MakeResult())
          ->RegisterSubscription();
    }
  }
  Subscriptions(const Subscriptions&) = delete;
  Subscriptions& operator=(const Subscriptions&) = delete;
  ~Subscriptions() {
    for (std::uint64_t i = 0; i < clients.size(); ++i) registry_.Unregister(kFirstId++);
  }

 private:
  NornHesper::Registry& registry_;

 public:
  std::vector<EagerClient> clients;
  static inline std::uint64_t kFirstId = 0;
};

void Deliver(NornHesper::GlobalContext* context) {
  context->GetIoService().restart();
  context->GetIoService().poll();
}

void BM_Dispatch(benchmark::State& state) {
  auto* context = Context(state);
  Subscriptions subscriptions(context->GetRegistry(), static_cast<std::uint64_t>(state.range(0)));
  for (auto _ : state) {
    context->GetRegistry().Publish(kPublication.data(), kPublication.size(), kVm);
    Deliver(context);
    for (auto& client : subscriptions.clients) client.TakeNext();
  }
  std::uint64_t received = 0;
  for (const auto& client : subscriptions.clients) received += client.received;
  state.counters["deliveries"] =
      benchmark::Counter(static_cast<double>(received), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Dispatch)->Arg(1)->Arg(10)->Arg(1000);

// The largest datagram, filled with a header's member that lists the ids from `first` to `first + count - 1`
// over and over again.
std::string LargestText(const char* member, std::uint64_t first, std::uint64_t count, std::size_t& listed) {
  const std::size_t most = NornHesper::kLargestDatagram - kPublication.size() - 21;
  std::string list = std::string(",\"") + member + "\":[" + std::to_string(first);
  for (listed = 1; list.size() < most; ++listed) list += "," + std::to_string(first + listed % count);
  std::string text = kPublication;
  return text.insert(text.find("},\"payload\""), list + "]");
}

// The I/O thread's part for subscriptions that are named again and again and whose clients take nothing.
void BM_RepeatedIds(benchmark::State& state) {
  auto* context = Context(state);
  const auto count = static_cast<std::uint64_t>(state.range(0));
  const Subscriptions subscriptions(context->GetRegistry(), count);
  std::size_t ids = 0;
  const auto text = LargestText("subscribers", Subscriptions::kFirstId, count, ids);
  for (auto _ : state) {
    state.PauseTiming();
    context->GetRegistry().Publish(text.data(), text.size(), kVm);
    state.ResumeTiming();
    Deliver(context);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ids));
}
BENCHMARK(BM_RepeatedIds)->Arg(1)->Arg(10)->Arg(1000);

std::size_t BytesInUse() {
  const auto heap = mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// What a publication holds that nobody has dispatched yet: a usual one, the one with the most ids, and one
// with as many values in a member that nobody reads.
void BM_WaitingPublication(benchmark::State& state) {
  auto* context = Context(state);
  std::size_t values = 0;
  const std::string texts[] = {kPublication, LargestText("subscribers", 7, 1, values),
                               LargestText("other", 7, 1, values)};
  const auto& text = texts[state.range(0)];
  constexpr std::size_t kWaiting = 100;
  std::size_t bytes = 0;
  for (auto _ : state) {
    const auto before = BytesInUse();
    for (std::size_t i = 0; i < kWaiting; ++i) context->GetRegistry().Publish(text.data(), text.size(), kVm);
    bytes = (BytesInUse() - before) / kWaiting;
    state.PauseTiming();
    Deliver(context);
    state.ResumeTiming();
  }
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(BM_WaitingPublication)->Arg(0)->Arg(1)->Arg(2);

}  // namespace
