#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "platform/corvane/format.h"
#include "platform/corvane/object.h"

namespace spdlog {
class logger;
}

namespace Corvane::Service {

// Where and how much to log. Without a file, lines go to standard error alone.
struct LogSettings {
  int level = 6;
  std::string file = {};
  int maxBytes = 10'000'000;  // of one file; it is rotated when it would grow past this
  int maxFiles = 5;           // that are kept in all, the current one included
};

// A named source of log lines with a level of its own. Levels are those of syslog, 0 to 7; a line is written
// when its level is not above the logger's. Safe from any thread.
//
// Text may come from hostile sources: each record stays one line, as line feeds, other control characters
// and bytes that are no UTF-8 are written as escapes.
class Logger : public ObjectImpl {
 public:
  using LogLevel = int;

  // The parent of all others. It writes to standard error from the start of the process; InitApp replaces
  // it by what the configuration asks for.
  static Ref<Logger> sDefaultLogger;

  // Throws Corvane::Exception when the file cannot be opened.
  static Ref<Logger> Create(const LogSettings& settings);
  Logger(std::shared_ptr<spdlog::logger> backend, LogLevel level);
  ~Logger() override;

  // A logger that writes to the same places, with its name in each line and this logger's level at present.
  Ref<Logger> CreateLogger(const std::string& name) const;

  LogLevel GetLevel() const noexcept { return level_.load(std::memory_order_relaxed); }
  void SetLevel(LogLevel level) noexcept { level_.store(level, std::memory_order_relaxed); }
  bool IsEnabled(LogLevel level) const noexcept { return level <= GetLevel(); }

  // Writes one line, whatever the logger's level.
  void Write(LogLevel level, std::string_view text) const;

 private:
  std::shared_ptr<spdlog::logger> backend_;
  std::atomic<LogLevel> level_;
};

// Formats the arguments (see ASPrintInternal) and writes the line; does nothing when the logger's level is
// below the line's.
template <typename... Args>
void LogInternal(Logger* logger, Logger::LogLevel level, std::string_view format, const Args&... args) {
  if (logger->IsEnabled(level)) logger->Write(level, Detail::ASPrintInternal(format, args...));
}

}  // namespace Corvane::Service
