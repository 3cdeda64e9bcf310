#include "lib/sarnMirel/opIdExtractFilter.h"

#include <cstddef>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/log.h"
#include "platform/corvane/logContext.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/textEscape.h"

namespace SarnMirel::Filter {
namespace {

const std::string kOpIdKey = "opId";

// It is in every line that the call writes, and a client may send what it likes. The logger sees to bytes
// that must not be in a line.
constexpr std::size_t kMaxClientOpId = 256;

bool IsContinuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xc0) == 0x80;
}

// Cuts an overlong id, not inside a character of UTF-8.
void Cut(std::string& id) {
  if (id.size() <= kMaxClientOpId) return;
  std::size_t end = kMaxClientOpId;
  while (end > kMaxClientOpId - 3 && IsContinuation(id[end])) --end;
  id.resize(end);
}

std::string MakeOpId(std::string clientOpId) {
  if (clientOpId.empty()) return Corvane::StringUtil::GenerateOpId();
  Cut(clientOpId);
  return clientOpId + "-" + Corvane::StringUtil::GenerateShortOpId();
}

}  // namespace

OpIdExtractFilter::OpIdExtractFilter(std::shared_ptr<Mirel::Core::AsyncApiProvider> next,
                                     std::shared_ptr<Mirel::Log::Logger> logger)
    : next_(std::move(next)), logger_(std::move(logger)) {}

std::string OpIdExtractFilter::ToString() const {
  return "OpIdExtractFilter";
}

void OpIdExtractFilter::Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                               const std::shared_ptr<const Mirel::Data::DataValue>& input,
                               const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                               const Mirel::Core::AsyncApiResultCb& result) {
  const auto opId = MakeOpId(Mirel::Core::ActivationHelpers::GetActivationOpId(activation));
  const Corvane::Service::LogContextOnStack context(Corvane::Service::SetLogContext(kOpIdKey, opId));
  Mirel::Log::Write(logger_, Mirel::Log::SeverityLevel::Trace, "Invoke",
                    ": method: ", Corvane::Detail::EscapeName(method->ToString()), " opId: ", opId);
  next_->Invoke(method, input, activation, result);
}

}  // namespace SarnMirel::Filter
