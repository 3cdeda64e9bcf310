// One delivery's way from the native structure to the bytes of the answer.

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "bindings/guestDataAdapter.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/core/oRange.h"
#include "framework/json/jsonApiResponseSerializer.h"

namespace {

using Com::Tessaly::Norn::Hesper::ApplicationPublishResult;
using Com::Tessaly::Norn::Hesper::VmIdentifierType;

ApplicationPublishResult MakeResult(std::size_t payloadBytes) {
  ApplicationPublishResult result;
  result.payload = Mirel::Data::BlobValue::Create(std::vector<unsigned char>(payloadBytes, 'x'));
  result.topic = "app.web.load";
  result.vmIdType = VmIdentifierType::FromText("MGR_VM_ID");
  result.mgrVmId = "vm-1";
  Mirel::DateTime::Create("2026-11-24T21:15:00Z", result.createTime);
  result.token = "token";
  return result;
}

template <typename Serializer>
void BM_SerializeElement(benchmark::State& state) {
  const auto result = MakeResult(static_cast<std::size_t>(state.range(0)));
  const Mirel::L10n::RequestLocalizer localizer;
  const Serializer serializer;
  const std::string id = "1";
  for (auto _ : state) {
    Mirel::Data::DynamicStructure element;
    Mirel::MessageList messages;
    Mirel::Data::NativeToValueAdapter::Adapt(
        element, Mirel::Data::AdaptMethod<ApplicationPublishResult>::Get(), result, localizer, messages);
    Mirel::ORange out;
    std::shared_ptr<const Mirel::ErrorValue> error;
    serializer.SerializeInvoke(id, Mirel::Core::MethodResult::GetInstance(element.value), out, error, true);
    benchmark::DoNotOptimize(out.Size());
  }
}
using namespace Mirel::Protocol::Json;
BENCHMARK(BM_SerializeElement<JsonApiDirectResponseSerializer<0>>)->Arg(256)->Arg(4096)->Arg(49152);
BENCHMARK(BM_SerializeElement<JsonApiResponseSerializer<0>>)->Arg(256);

}  // namespace
