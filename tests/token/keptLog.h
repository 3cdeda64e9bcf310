#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "framework/core/log.h"

/// Keeps what is logged.
class KeptLog final : public Mirel::Log::Logger {
 public:
  struct Record final : Mirel::Log::LogRecord {
    explicit Record(KeptLog& keeper) : log(keeper) {}
    ~Record() override { log.lines.push_back(text.str()); }
    std::ostream& Stream() override { return text; }

    KeptLog& log;
    std::ostringstream text;
  };

  std::unique_ptr<Mirel::Log::LogRecord> OpenRecord(Mirel::Log::SeverityLevel) override {
    return std::make_unique<Record>(*this);
  }

  std::vector<std::string> lines;
};
