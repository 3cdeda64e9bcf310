#include "framework/provider/asyncLocalProvider.h"

#include <gtest/gtest.h>

#include <atomic>
#include <boost/asio/io_context.hpp>
#include <thread>

#include "framework/core/asyncActivation.h"
#include "framework/json/valueWriter.h"
#include "framework/provider/enqueuer.h"
#include "framework/provider/simpleInterface.h"

namespace Mirel::Provider {
namespace {

using Container = AsyncApiInterfaceConcurrentContainer<std::mutex>;
using LocalProvider = AsyncLocalProvider<std::mutex>;
using ResultPtr = std::shared_ptr<const Core::MethodResult>;

std::shared_ptr<const AsyncApiInterface> EchoService(const std::string& name) {
  return std::make_shared<const SimpleInterface>(
      name,
      std::map<std::string, SimpleInterface::Function>{
          {"echo", [](const auto& input) {
             return Core::MethodResult::GetInstance(Data::DataValue::Create(StringArgument(input, "text")));
           }}});
}

Data::DataValuePtr Arguments(std::initializer_list<std::pair<const char*, Data::DataValuePtr>> fields) {
  auto arguments = Data::StructValue::GetInstance("arguments");
  for (const auto& [name, value] : fields) arguments->AppendField(name, value);
  return arguments;
}

Data::DataValuePtr Text(const char* text) {
  return Data::DataValue::Create(text);
}

// The value as plain JSON.
std::string Show(const Data::DataValuePtr& value) {
  ORange text;
  Protocol::Json::WriteDirect(*value, text);
  return text.ToString();
}

class LocalProviderTest : public testing::Test {
 protected:
  void Invoke(const std::string& service, const std::string& operation, const Data::DataValuePtr& input) {
    provider->Invoke(
        std::make_shared<const Core::MethodIdentifier>(Core::MethodIdentifier{service, operation}), input,
        activation,
        Core::AsyncApiResultCb([this](const ResultPtr& result, const Progress& progress, auto&& next) {
          EXPECT_EQ(progress.current, 1);
          EXPECT_FALSE(next);
          results.push_back(result);
        }));
  }

  ResultPtr Call(const std::string& service, const std::string& operation,
                 const Data::DataValuePtr& input = Arguments({})) {
    results.clear();
    Invoke(service, operation, input);
    EXPECT_TRUE(results.empty()) << "no operation may run in its caller's stack";
    context.restart();
    context.run();
    EXPECT_EQ(results.size(), 1U);
    return results.empty() ? nullptr : results.front();
  }

  std::string Value(const std::string& operation, const Data::DataValuePtr& input = Arguments({})) {
    const auto result =
        Call("com.tessaly.mirel.std.introspection." + operation.substr(0, operation.find('.')),
             operation.substr(operation.find('.') + 1), input);
    return result->error ? result->error->ToString() : Show(result->output);
  }

  boost::asio::io_context context;
  std::shared_ptr<Container> container = Container::GetInstance({EchoService("a.b")});
  std::shared_ptr<LocalProvider> provider =
      std::make_shared<LocalProvider>(Asio::Enqueuer(context), container);
  std::shared_ptr<Core::AsyncActivation> activation = Core::AsyncActivation::GetInstance(nullptr);
  std::vector<ResultPtr> results;
};

TEST_F(LocalProviderTest, RunsTheOperationAsAJobAndTellsObserversBefore) {
  bool seen = false;
  activation->AddInvokeObserver([&] { seen = results.empty(); });
  const auto result = Call("a.b", "echo", Arguments({{"text", Text("hello")}}));
  EXPECT_EQ(Show(result->output), "\"hello\"");
  EXPECT_FALSE(result->terminal);
  EXPECT_TRUE(seen);
}

TEST_F(LocalProviderTest, AnswersWhatIsNotThere) {
  bool seen = false;
  activation->AddInvokeObserver([&] { seen = true; });
  const auto missing = [&](const std::string& service, const std::string& operation) {
    const auto result = Call(service, operation);
    EXPECT_TRUE(result->terminal);
    EXPECT_EQ(result->output, nullptr);
    return result->error->ToString();
  };
  const std::string name = "com.tessaly.mirel.std.errors.operation_not_found: ";
  EXPECT_EQ(missing("a", "echo"), name + "The service a does not exist.");
  EXPECT_EQ(missing("a.b", "{1}"), name + "The operation a.b.{1} does not exist.");
  EXPECT_FALSE(seen);
}

TEST_F(LocalProviderTest, Introspection) {
  provider->AddIntrospectionServices();
  const auto service = Arguments({{"id", Text("a.b")}});
  const auto operation = Arguments({{"service_id", Text("a.b")}, {"operation_id", Text("echo")}});
  EXPECT_EQ(
      Value("service.list"),
      R"(["a.b","com.tessaly.mirel.std.introspection.operation",)"
      R"("com.tessaly.mirel.std.introspection.provider","com.tessaly.mirel.std.introspection.service"])");
  EXPECT_EQ(Value("service.get", service), R"({"id":"a.b","operations":["echo"]})");
  EXPECT_EQ(Value("provider.get"), R"({"id":"AsyncLocalProvider","service_count":4})");
  EXPECT_EQ(Value("operation.list", operation), R"(["echo"])");
  EXPECT_EQ(Value("operation.get", operation), R"({"service_id":"a.b","name":"echo","stream":false})");
  EXPECT_EQ(Value("service.get", Arguments({{"id", Text("x")}})),
            "com.tessaly.mirel.std.errors.not_found: Nothing has the identifier x.");
}

TEST_F(LocalProviderTest, ThePendingCallKeepsTheProvider) {
  Invoke("a.b", "echo", Arguments({{"text", Text("x")}}));
  provider.reset();
  container.reset();
  context.run();
  ASSERT_EQ(results.size(), 1U);
  EXPECT_EQ(Show(results.front()->output), "\"x\"");
}

TEST_F(LocalProviderTest, LookUpsAndAdditionsFromSeveralThreads) {
  std::atomic<int> found = 0;
  std::vector<std::thread> threads;
  threads.reserve(3);
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        MessageList messages;
        container->Add(EchoService(std::to_string(t) + "." + std::to_string(i)), messages);
        std::shared_ptr<const AsyncApiInterface> interface;
        found += container->Lookup({"a.b", "echo"}, interface, messages) ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(found, 600);
  EXPECT_EQ(container->Interfaces().size(), 601U);
}

}  // namespace
}  // namespace Mirel::Provider
