#include "framework/provider/asyncResult.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace Mirel {
namespace {

using Result = AsyncResult<std::string, AsyncResultTerminateCbPolicy>;
using Stream = AsyncStreamResult<std::string, AsyncStreamResultTerminateCbPolicy>;

const auto kError = std::make_shared<const ErrorValue>("some.error");

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

}  // namespace
}  // namespace Mirel
