#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "framework/core/dataValue.h"

namespace Mirel {

// How far a call has come. Every result of this system carries (0, 1, 1): there is one step, and it is done.
struct Progress {
  std::int64_t min = 0;
  std::int64_t max = 1;
  std::int64_t current = 1;
};

}  // namespace Mirel

namespace Mirel::Core {

class AsyncActivation;

// Names one operation: on the wire "service.operation", split at the last dot.
struct MethodIdentifier {
  std::string service;
  std::string operation;

  std::string ToString() const { return service + "." + operation; }
};

// What a provider answers: a value or an error, of which the other is null.
class MethodResult final {
 public:
  MethodResult(Data::DataValuePtr outputValue, Data::ErrorValuePtr errorValue, bool isTerminal,
               const Data::Backlog* whatWaits = nullptr)
      : output(std::move(outputValue)),
        error(std::move(errorValue)),
        terminal(isTerminal),
        backlog(whatWaits) {}
  virtual ~MethodResult() = default;

  static std::shared_ptr<const MethodResult> GetInstance(Data::DataValuePtr output,
                                                         const Data::Backlog* backlog = nullptr) {
    return std::make_shared<const MethodResult>(std::move(output), nullptr, false, backlog);
  }
  static std::shared_ptr<const MethodResult> GetErrorInstance(Data::ErrorValuePtr error) {
    return std::make_shared<const MethodResult>(nullptr, std::move(error), true);
  }

  const Data::DataValuePtr output;
  const Data::ErrorValuePtr error;
  // No result follows this one.
  const bool terminal;
  // Valid as long as the `next` that goes with this result; null when nobody knows.
  const Data::Backlog* const backlog;
};

// The untyped answer path of a call. It is fired once. `next` is empty when nothing follows; otherwise the
// receiver calls it exactly once: with a callback for the next result when it can take that, or with null
// when it wants no more. It is the pointer to that callback that keeps the call open, and not a copy.
class AsyncApiResultCb {
 public:
  using Next = std::function<void(std::shared_ptr<AsyncApiResultCb>)>;
  using Callable = std::function<void(const std::shared_ptr<const MethodResult>&, const Progress&, Next&&)>;

  explicit AsyncApiResultCb(Callable callable) : callable_(std::move(callable)) {}

  void operator()(const std::shared_ptr<const MethodResult>& result, const Progress& progress,
                  Next&& next) const {
    callable_(result, progress, std::move(next));
  }

 private:
  Callable callable_;
};

// A link of the provider chain. `Invoke` returns at once; the answer goes through `result`, once or as a
// series, on any thread.
class AsyncApiProvider {
 public:
  virtual std::string ToString() const = 0;
  virtual void Invoke(const std::shared_ptr<const MethodIdentifier>& method,
                      const std::shared_ptr<const Data::DataValue>& input,
                      const std::shared_ptr<AsyncActivation>& activation, const AsyncApiResultCb& result) = 0;
  virtual ~AsyncApiProvider() = default;
};

}  // namespace Mirel::Core
