// What one request's body costs the thread that serves all streams, whoever wrote it: the largest bodies in
// the shapes that cost most. The figure is one deserialization, in CPU time; nothing else runs on that thread
// meanwhile.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/streambuf.hpp>
#include <chrono>
#include <memory>
#include <string>

#include "framework/core/apiSerializer.h"
#include "framework/json/jsonApiRequestDeserializer.h"
#include "framework/json/requestParser.h"

namespace {

constexpr std::size_t kLargestBody = 2500000;

// Takes every request.
class Taker final : public Mirel::Core::ApiRequestVisitor {
 public:
  std::error_code Visit(const std::string&, const std::shared_ptr<const Mirel::Core::MethodIdentifier>&,
                        const std::shared_ptr<const Mirel::Data::DataValue>&,
                        const std::shared_ptr<Mirel::Core::ExecutionContext>&) override {
    return {};
  }
};

// A list of as many elements as are asked for, or as fit.
std::string List(const std::string& element, std::size_t count) {
  std::string text = "[" + element;
  for (std::size_t i = 1; i < count && text.size() + element.size() + 200 < kLargestBody; ++i) {
    text += "," + element;
  }
  return text + "]";
}

std::string Members(std::size_t count, std::size_t nameLength) {
  std::string text = "{";
  for (std::size_t i = 0; i < count && text.size() + nameLength + 200 < kLargestBody; ++i) {
    auto number = std::to_string(i);
    if (i > 0) text += ',';
    text += '"' + std::string(nameLength - number.size(), 'n') + number + "\":0";
  }
  return text + "}";
}

void Deserialize(benchmark::State& state, const std::string& input) {
  const auto text = R"({"jsonrpc":"2.0","id":1,"method":"a.b.c","params":{"input":)" + input + "}}";
  const Mirel::Protocol::Json::JsonApiRequestDeserializer deserializer;
  Taker taker;
  bool understood = false;
  std::chrono::duration<double, std::milli> longest{};
  for (auto _ : state) {
    boost::asio::streambuf body;
    body.commit(boost::asio::buffer_copy(body.prepare(text.size()), boost::asio::buffer(text)));
    auto steps = deserializer.Begin(body, taker);
    decltype(longest) longestNow{};
    for (bool more = true; more;) {
      const auto start = std::chrono::steady_clock::now();
      more = steps.Next();
      longestNow = std::max<decltype(longest)>(longestNow, std::chrono::steady_clock::now() - start);
    }
    longest += longestNow;
    understood = !steps.Error();
  }
  state.counters["longest_ms"] = benchmark::Counter(longest.count(), benchmark::Counter::kAvgIterations);
  state.SetLabel(std::to_string(text.size()) + " bytes, " + (understood ? "taken" : "refused"));
}

// More than a body can hold, and as many as are taken beside the values of the request itself.
constexpr std::size_t kMany = kLargestBody;
constexpr std::size_t kMostTaken = Mirel::Protocol::Json::kMostValues - 8;

#define SHAPE(name, input) BENCHMARK_CAPTURE(Deserialize, name, input)->Unit(benchmark::kMillisecond)

SHAPE(LongText, '"' + std::string(2400000, 'x') + '"');
SHAPE(EscapedText, '"' + std::string(2400000, '\\') + '"');
SHAPE(Blanks, std::string(2400000, ' ') + "0");
SHAPE(SmallNumbers, List("0", kMany));
SHAPE(LongNumbers, List("-1.2345678901234567e-300", kMostTaken));
SHAPE(SmallObjects, List("{}", kMany));
SHAPE(Optionals, List(R"({"optional":["a"]})", kMany));
SHAPE(Members, Members(kMany, 8));
SHAPE(LongMembers, Members(kMany, 70));
SHAPE(MostTexts, List("\"abcdefghijklmnopq\"", kMostTaken));
SHAPE(MostNumbers, List("0", kMostTaken));
SHAPE(MostMembers, Members(kMostTaken, 60));
SHAPE(
    Filters,
    List(R"({"structure":"com.tessaly.norn.hesper.VmFilterSpec","fields":{"mgrVmId":{"optional":["vm-1"]}}})",
         3000));

}  // namespace
