#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "framework/core/executionContext.h"

namespace Mirel {

// A sequence that is walked from its start, and can be reset to it.
template <typename T>
class ForwardRange {
 public:
  virtual ~ForwardRange() = default;
  // Requires: not at the end.
  virtual T Current() const = 0;
  virtual void Advance() = 0;
  virtual bool AtEnd() const = 0;
  virtual void Reset() = 0;
};

namespace Transport {

class Header {
 public:
  virtual ~Header() = default;
  virtual std::string_view Name() const = 0;
  virtual std::string_view Value() const = 0;
};

using HeaderRange = ForwardRange<const Header&>;

namespace Http {

using HeaderRangePtr = std::shared_ptr<HeaderRange>;
// Copies more of a request's headers into its execution context.
using HeaderExtractor =
    std::function<void(const HeaderRangePtr&, const std::shared_ptr<Core::ExecutionContext>&)>;

}  // namespace Http

}  // namespace Transport
}  // namespace Mirel
