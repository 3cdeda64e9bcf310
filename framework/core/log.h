#pragma once

#include <memory>
#include <ostream>

namespace Mirel::Log {

// 0 is the most talkative.
enum class SeverityLevel : unsigned { Trace = 0, Debug = 1, Info = 2, Warning = 3, Error = 4, Fatal = 5 };

// One record: its holder writes into the stream, and its destruction emits the line.
class LogRecord {
 public:
  virtual std::ostream& Stream() = 0;
  virtual ~LogRecord() = default;
};

class Logger {
 public:
  // Gives null when the severity is switched off, so that the caller builds no text.
  virtual std::unique_ptr<LogRecord> OpenRecord(SeverityLevel severity) = 0;
  virtual ~Logger() = default;
};

// Writes all the parts into one record; does nothing without a logger or when the severity is off.
template <typename... Parts>
void Write(const std::shared_ptr<Logger>& logger, SeverityLevel severity, const Parts&... parts) {
  if (!logger) return;
  if (const auto record = logger->OpenRecord(severity)) (record->Stream() << ... << parts);
}

}  // namespace Mirel::Log
