#pragma once

#include <string_view>

namespace Mirel {

// A sequence that is walked from its start, and can be reset to it.
template <typename T>
class ForwardRange {
 public:
  virtual ~ForwardRange() = default;
  // Only when not at the end.
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

}  // namespace Transport
}  // namespace Mirel
