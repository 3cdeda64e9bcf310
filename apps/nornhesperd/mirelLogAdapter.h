#pragma once

#include <memory>

#include "framework/core/log.h"

namespace NornHesper {

// Sends the framework's log records to the application's logger, or to the early log while there is none. A
// severity s becomes the level 7 - s.
class MirelLogAdapter final : public Mirel::Log::Logger {
 public:
  std::unique_ptr<Mirel::Log::LogRecord> OpenRecord(Mirel::Log::SeverityLevel severity) override;

 private:
  class Record;
};

}  // namespace NornHesper
