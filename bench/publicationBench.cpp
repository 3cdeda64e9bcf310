// The cost of one publication on the backend thread: the check of its text at three sizes, and the look-up of
// a sender that the cache knows.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"
#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/host.h"
#include "testing/guestText.h"

namespace {

using NornHesper::CidInfo;
using NornHesper::GlobalContext;
using NornHesper::Publication;

std::string MakeText(std::size_t size) {
  return Testing::FilledText(42, "com.tessaly.tools.heartbeat", size);
}

// The texts that cost the most for their size.
std::string MakeNestedText(std::size_t size) {
  std::string text = MakeText(256);
  const std::size_t depth = (size - text.size() - sizeof(R"("deep":,)")) / 2;
  return text.insert(1, R"("deep":)" + std::string(depth, '[') + std::string(depth, ']') + ",");
}

std::string MakeFlatText(std::size_t size) {
  std::string text = MakeText(256);
  std::string list = R"("flat":[0)";
  while (list.size() + text.size() + 4 < size) list += ",0";
  return text.insert(1, list + "],");
}

void Check(benchmark::State& state, const std::string& text) {
  if (GlobalContext::Get()->GetPublicationSchema().Init().HasErrors()) {
    state.SkipWithError("no schema");
    return;
  }
  const auto sender = std::make_shared<CidInfo>();
  for (auto _ : state) {
    const auto publication = std::make_shared<Publication>(text.data(), text.size(), sender);
    if (publication->Parse().HasErrors()) {
      state.SkipWithError("refused");
      break;
    }
    benchmark::DoNotOptimize(publication->payload.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}

void CheckPublication(benchmark::State& state) {
  Check(state, MakeText(static_cast<std::size_t>(state.range(0))));
}
void CheckNested(benchmark::State& state) {
  Check(state, MakeNestedText(NornHesper::kLargestDatagram));
}
void CheckFlat(benchmark::State& state) {
  Check(state, MakeFlatText(NornHesper::kLargestDatagram));
}

void LookUpKnownCid(benchmark::State& state) {
  std::string directory = (std::filesystem::temp_directory_path() / "lookupXXXXXX").string();
  if (mkdtemp(directory.data()) == nullptr) {
    state.SkipWithError("no directory");
    return;
  }
  setenv("KRELL_HOST_DIR", directory.c_str(), 1);
  {
    Krell::Host host(directory);
    host.Add({5, "bios", "vm", "mgr", true});
    NornHesper::CidCache cache;
    NornHesper::CidInfoPtr info;
    if (cache.Lookup(info, 5).HasErrors()) {
      state.SkipWithError("unknown cid");
    } else {
      for (auto _ : state) cache.Lookup(info, 5);
    }
  }
  std::filesystem::remove_all(directory);
}

BENCHMARK(LookUpKnownCid);
BENCHMARK(CheckPublication)->Arg(256)->Arg(4096)->Arg(65536)->Arg(NornHesper::kLargestDatagram);
BENCHMARK(CheckNested);
BENCHMARK(CheckFlat);

}  // namespace
