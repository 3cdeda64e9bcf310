#include "framework/core/dateTime.h"

#include "platform/corvane/dateTime.h"

namespace Mirel {

bool DateTime::Create(const std::string& text, DateTime& out) {
  if (!Corvane::System::DateTime::IsRfc3339(text)) return false;
  out.text_ = text;
  return true;
}

DateTime DateTime::Create(std::int64_t utcMicroseconds) {
  DateTime time;
  time.text_ = Corvane::System::DateTimeFromUtc(utcMicroseconds).ToShortStringBias();
  return time;
}

}  // namespace Mirel
