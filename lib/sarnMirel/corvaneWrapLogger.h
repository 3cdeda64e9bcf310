#pragma once

#include <memory>

#include "framework/core/log.h"
#include "platform/corvane/log.h"

namespace SarnMirel {

// Lets the framework's handlers log through one given logger of the base library. A severity s becomes the
// level 7 - s; the level is looked at when a record is opened and again when it is written.
class CorvaneWrapLoggger final : public Mirel::Log::Logger {
 public:
  explicit CorvaneWrapLoggger(Corvane::Ref<Corvane::Service::Logger> logger);

  std::unique_ptr<Mirel::Log::LogRecord> OpenRecord(Mirel::Log::SeverityLevel severity) override;

 private:
  class Record;

  Corvane::Ref<Corvane::Service::Logger> logger_;
};

}  // namespace SarnMirel
