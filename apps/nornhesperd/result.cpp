#include "apps/nornhesperd/result.h"

#include "platform/corvane/format.h"

namespace NornHesper {

void Result::AddError(unsigned code, const std::string& message) {
  if (records_ == nullptr) records_ = std::make_shared<std::vector<ErrorRecord>>();
  records_->push_back({code, message});
}

std::string Result::ToString() const {
  std::string text = "error(s): ";
  if (!HasErrors()) return text + "(none)";
  const char* separator = "";
  for (const ErrorRecord& record : *records_) {
    text += Corvane::Detail::ASPrintInternal("%1{%2, %3}", separator, record.code, record.message);
    separator = ", ";
  }
  return text;
}

}  // namespace NornHesper
