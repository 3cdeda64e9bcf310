#include "lib/sarnMirel/corvaneWrapLogger.h"

#include <sstream>
#include <utility>

namespace SarnMirel {
namespace {

constexpr int kLevelOfSeverityZero = 7;

}  // namespace

class CorvaneWrapLoggger::Record final : public Mirel::Log::LogRecord {
 public:
  Record(Corvane::Ref<Corvane::Service::Logger> logger, int level)
      : logger_(std::move(logger)), level_(level) {}

  ~Record() override { Corvane::Service::LogInternal(logger_.get(), level_, "%1", stream_.str()); }

  std::ostream& Stream() override { return stream_; }

 private:
  Corvane::Ref<Corvane::Service::Logger> logger_;
  const int level_;
  std::ostringstream stream_;
};

CorvaneWrapLoggger::CorvaneWrapLoggger(Corvane::Ref<Corvane::Service::Logger> logger)
    : logger_(std::move(logger)) {}

std::unique_ptr<Mirel::Log::LogRecord> CorvaneWrapLoggger::OpenRecord(Mirel::Log::SeverityLevel severity) {
  const int level = kLevelOfSeverityZero - static_cast<int>(severity);
  if (!logger_->IsEnabled(level)) return nullptr;
  return std::make_unique<Record>(logger_, level);
}

}  // namespace SarnMirel
