#include "framework/provider/asyncResult.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Mirel {
namespace {

using Result = AsyncResult<std::string, AsyncResultTerminateCbPolicy>;
using Stream = AsyncStreamResult<std::string, AsyncStreamResultTerminateCbPolicy>;

const auto kError = std::make_shared<const ErrorValue>("some.error");

TEST(AsyncResult, FiresTheCallbackThatIsSet) {
  int calls = 0;
  Result::ResultCb first;
  first.first = [&](const auto& value, const auto& error, const Progress& progress) {
    ++calls;
    EXPECT_EQ(value.value(), "x");
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(progress.min, 0);
    EXPECT_EQ(progress.max, 1);
    EXPECT_EQ(progress.current, 1);
  };
  first.second = [](const auto&, const auto&, const auto&, const auto&) { FAIL() << "the first one has it"; };
  Result(first).result("x");

  Result::ResultCb second;
  second.second = [&](const auto& value, const auto& error, const auto& native, const Progress&) {
    ++calls;
    EXPECT_FALSE(value.has_value());
    EXPECT_EQ(error, kError);
    EXPECT_FALSE(native.has_value());
  };
  Result(second).error(kError);
  EXPECT_EQ(calls, 2);
}

TEST(AsyncResult, WithoutCallbackThrowsAndIsNotSpent) {
  Result result{Result::ResultCb{}};
  EXPECT_THROW(result.error(kError), std::bad_function_call);
  EXPECT_THROW(result.result("x"), std::bad_function_call);
  Stream stream{Stream::ResultCb{}};
  EXPECT_THROW(stream.error(kError), std::bad_function_call);
}

Stream Ignoring() {
  Stream::ResultCb callbacks;
  callbacks.second = [](auto&&...) {};
  return Stream(std::move(callbacks));
}

TEST(AsyncResultDeathTest, SecondFiringEndsTheProcess) {
  const auto fireTwice = [](auto result, auto first, auto second) {
    first(result);
    EXPECT_DEATH(second(result), "");
  };
  Result::ResultCb callbacks;
  callbacks.first = [](auto&&...) {};
  const auto value = [](auto& result) { result.result("x"); };
  const auto error = [](auto& result) { result.error(kError); };
  const auto element = [](auto& result) { result.result("x", nullptr); };
  fireTwice(Result(callbacks), value, error);
  fireTwice(Result(callbacks), error, value);
  fireTwice(Result(callbacks), error, error);
  fireTwice(Ignoring(), element, element);
  fireTwice(Ignoring(), element, error);
  fireTwice(Ignoring(), error, element);
}

TEST(AsyncStreamResult, ContinuationBringsTheNextTurnOrTheEnd) {
  Stream::Continuation continuation;
  std::vector<std::string> sent;
  const auto fresh = [&] {
    Stream::ResultCb callbacks;
    callbacks.first = [&](const auto& value, const auto& error, const auto&, Stream::Continuation&& next) {
      sent.push_back(value ? *value : error->name());
      continuation = std::move(next);
    };
    return std::make_shared<Stream>(std::move(callbacks));
  };

  bool ended = false;
  fresh()->result("one", [&](const OptionalPtr<Stream>& next) {
    ASSERT_TRUE(next);
    next->result("two", [&](const OptionalPtr<Stream>& last) { ended = !last; });
  });
  std::exchange(continuation, nullptr)(OptionalPtr<Stream>(fresh()));
  std::exchange(continuation, nullptr)({});
  EXPECT_TRUE(ended);
  EXPECT_EQ(sent, (std::vector<std::string>{"one", "two"}));

  fresh()->error(kError);
  EXPECT_EQ(sent.back(), "some.error");
  EXPECT_FALSE(continuation);
}

TEST(AsyncResult, DyingUnfiredAnswersNothing) {
  Result::ResultCb callbacks;
  callbacks.first = [](auto&&...) { FAIL(); };
  { const Result result(callbacks); }
}

}  // namespace
}  // namespace Mirel
