#include "framework/core/dateTime.h"

#include "platform/corvane/dateTime.h"

namespace Mirel {

bool DateTime::Create(const std::string& text, DateTime& out) {
  if (!Corvane::System::DateTime::IsRfc3339(text)) return false;
  out.text_ = text;
  return true;
}

}  // namespace Mirel
