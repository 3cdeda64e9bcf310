#pragma once

#include <array>
#include <cstddef>
#include <mutex>

#include "framework/core/oRange.h"

namespace Mirel {

// The texts of one value that many answers carry, one for each form in which it is written: whoever needs a
// form first writes it, and the others share it. May be used by any thread.
class TextForms {
 public:
  static constexpr std::size_t kForms = 2;

  // Calls write(ORange&) unless the form is there.
  template <typename Write>
  const ORange& Get(std::size_t form, Write write) const {
    const Text& text = texts_.at(form);
    std::call_once(text.written, [&] { write(text.bytes); });
    return text.bytes;
  }

 private:
  struct Text {
    mutable std::once_flag written;
    mutable ORange bytes;
  };

  std::array<Text, kForms> texts_;
};

}  // namespace Mirel
