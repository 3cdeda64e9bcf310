#include "platform/corvane/log.h"

#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/corvane/exception.h"
#include "platform/corvane/logContext.h"
#include "platform/corvane/standardError.h"
#include "platform/corvane/textEscape.h"

namespace Corvane::Service {
namespace {

// spdlog has six levels, which rise with severity; ours are syslog's eight, which fall. The three most severe
// of ours fall together.
constexpr int kLeastSevere = 7;
constexpr int kMostSevere = kLeastSevere - SPDLOG_LEVEL_CRITICAL;

spdlog::level::level_enum ToBackendLevel(Logger::LogLevel level) {
  return static_cast<spdlog::level::level_enum>(kLeastSevere - std::clamp(level, kMostSevere, kLeastSevere));
}

// "TIME THREAD LEVEL NAME: TEXT". The journal keeps time and process itself, and wants the priority in front,
// as sd-daemon(3) says.
class LineFormatter final : public spdlog::formatter {
 public:
  explicit LineFormatter(bool forJournal) : forJournal_(forJournal) {}

  std::unique_ptr<spdlog::formatter> clone() const override {
    return std::make_unique<LineFormatter>(forJournal_);
  }

  void format(const spdlog::details::log_msg& record, spdlog::memory_buf_t& line) override {
    static constexpr std::array<std::string_view, kLeastSevere + 1> kNames = {
        "emerg", "alert", "crit", "error", "warning", "notice", "info", "debug"};
    const auto level = static_cast<std::size_t>(kLeastSevere - record.level);
    if (forJournal_) {
      const char prefix[] = {'<', static_cast<char>('0' + level), '>'};
      Append(line, {prefix, sizeof prefix});
    } else {
      head_.format(record, line);
      Append(line, kNames[level]);
      line.push_back(' ');
    }
    if (record.logger_name.size() != 0) {
      Append(line, {record.logger_name.data(), record.logger_name.size()});
      Append(line, ": ");
    }
    const std::string_view text(record.payload.data(), record.payload.size());
    if (Detail::IsPlainLine(text)) {
      Append(line, text);
    } else {
      Append(line, Detail::EscapeLine(text));
    }
    line.push_back('\n');
  }

 private:
  static void Append(spdlog::memory_buf_t& line, std::string_view text) {
    line.append(text.data(), text.data() + text.size());
  }

  const bool forJournal_;
  spdlog::pattern_formatter head_{"%Y-%m-%dT%H:%M:%S.%e%z %t ", spdlog::pattern_time_type::local, ""};
};

// The journal names the stream that it reads by device and inode.
bool IsJournal(int descriptor) {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status;
  return stream != nullptr && ::fstat(descriptor, &status) == 0 &&
         Detail::ASPrintInternal("%1:%2", status.st_dev, status.st_ino) == stream;
}

class StandardErrorSink final : public spdlog::sinks::base_sink<std::mutex> {
 public:
  explicit StandardErrorSink(bool forJournal) : prefixOfLost_(forJournal ? "<4>" : "") {
    set_formatter_(std::make_unique<LineFormatter>(forJournal));
  }

 private:
  void sink_it_(const spdlog::details::log_msg& record) override {
    spdlog::memory_buf_t line;
    formatter_->format(record, line);
    StandardError::Get().Write({line.data(), line.size()}, prefixOfLost_);
  }
  void flush_() override {}

  const std::string_view prefixOfLost_;
};

spdlog::sink_ptr MakeFileSink(const LogSettings& settings) {
  spdlog::file_event_handlers handlers;
  // The texts of guests are in the log, tokens included.
  handlers.after_open = [](const spdlog::filename_t&, std::FILE* file) { ::fchmod(::fileno(file), 0640); };
  try {
    auto sink = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
        settings.file, static_cast<std::size_t>(settings.maxBytes),
        static_cast<std::size_t>(settings.maxFiles - 1), false, handlers);
    sink->set_formatter(std::make_unique<LineFormatter>(false));
    return sink;
  } catch (const spdlog::spdlog_ex& error) {
    throw Exception(Detail::EscapeLine(error.what()));
  }
}

}  // namespace

Ref<Logger> Logger::sDefaultLogger = Logger::Create({});

Ref<Logger> Logger::Create(const LogSettings& settings) {
  std::vector<spdlog::sink_ptr> sinks;
  sinks.push_back(std::make_shared<StandardErrorSink>(IsJournal(STDERR_FILENO)));
  if (!settings.file.empty()) sinks.push_back(MakeFileSink(settings));
  auto backend = std::make_shared<spdlog::logger>("", sinks.begin(), sinks.end());
  backend->set_level(spdlog::level::trace);
  // Such as a full disk under the file. The library's own handler would wait for a pipe that nobody reads.
  backend->set_error_handler([](const std::string& reason) {
    StandardError::Get().Write("log: " + Detail::EscapeLine(reason) + '\n');
  });
  // The process ends without warning, and lines that wait in a buffer would be lost.
  backend->flush_on(spdlog::level::trace);
  return MakeRef<Logger>(std::move(backend), settings.level);
}

Logger::Logger(std::shared_ptr<spdlog::logger> backend, LogLevel level)
    : backend_(std::move(backend)), level_(level) {}

Logger::~Logger() = default;

Ref<Logger> Logger::CreateLogger(const std::string& name) const {
  return MakeRef<Logger>(backend_->clone(name), GetLevel());
}

void Logger::Write(LogLevel level, std::string_view text) const {
  const std::string context = GetLogContextText();
  if (context.empty()) {
    backend_->log(ToBackendLevel(level), spdlog::string_view_t(text.data(), text.size()));
  } else {
    backend_->log(ToBackendLevel(level), std::string(text) + context);
  }
}

}  // namespace Corvane::Service
