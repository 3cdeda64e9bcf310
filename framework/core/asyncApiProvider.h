#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "framework/core/methodIdentifier.h"
#include "framework/core/methodResult.h"
#include "framework/core/progress.h"

namespace Mirel::Core {

class AsyncActivation;

// The untyped answer path of a call. It is fired once. `next` is empty when nothing follows; otherwise the
// receiver calls it exactly once: with a new callback when it can take the next result, or with null when it
// wants no more.
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
