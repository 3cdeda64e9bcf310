#include "apps/nornhesperd/mirelLogAdapter.h"

#include <sstream>

#include "apps/nornhesperd/globalContext.h"
#include "platform/corvane/log.h"
#include "platform/corvane/panic.h"

namespace NornHesper {
namespace {

constexpr unsigned kHighestSeverity = 5;
constexpr int kLevelOfSeverityZero = 7;

}  // namespace

class MirelLogAdapter::Record final : public Mirel::Log::LogRecord {
 public:
  explicit Record(int level) : level_(level) {}

  ~Record() override {
    auto* context = GlobalContext::Get();
    if (context->IsLoggerReady()) {
      Corvane::Service::LogInternal(context->GetLogger(), level_, "%1", stream_.str());
    } else {
      context->EarlyLog(Corvane::Detail::ASPrintInternal("%1", stream_.str()));
    }
  }

  std::ostream& Stream() override { return stream_; }

 private:
  const int level_;
  std::ostringstream stream_;
};

std::unique_ptr<Mirel::Log::LogRecord> MirelLogAdapter::OpenRecord(Mirel::Log::SeverityLevel severity) {
  if (static_cast<unsigned>(severity) > kHighestSeverity) NOT_REACHED();
  const int level = kLevelOfSeverityZero - static_cast<int>(severity);
  auto* context = GlobalContext::Get();
  if (context->IsLoggerReady() && context->GetLogger()->GetLevel() < level) return nullptr;
  return std::make_unique<Record>(level);
}

}  // namespace NornHesper
