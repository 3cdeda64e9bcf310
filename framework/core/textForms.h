#pragma once

#include <array>
#include <cstddef>

#include "framework/core/oRange.h"
#include "platform/corvane/mutex.h"

namespace Mirel {

// The texts of one value that many answers carry, one for each form in which it is written: whoever needs a
// form first writes it, and the others share it. May be used by any thread.
class TextForms {
 public:
  static constexpr std::size_t kForms = 2;

  // Calls write(ORange&) unless the form is there.
  template <typename Write>
  const ORange& Get(std::size_t form, Write write) const {
    const Corvane::MutexLock lock(mutex_);
    Text& text = texts_.at(form);
    if (!text.written) write(text.bytes);
    text.written = true;
    return text.bytes;
  }

 private:
  struct Text {
    bool written = false;
    ORange bytes;
  };

  mutable Corvane::Mutex mutex_;
  // A text that is written doesn't change any more.
  mutable std::array<Text, kForms> texts_ CORVANE_GUARDED_BY(mutex_);
};

}  // namespace Mirel
