#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/asyncApiProvider.h"
#include "framework/core/log.h"

namespace Bridge {

// The end of a chain: a call is what the test makes of it.
class ScriptedProvider final : public Mirel::Core::AsyncApiProvider {
 public:
  std::string ToString() const override { return "ScriptedProvider"; }
  void Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
              const Mirel::Data::DataValuePtr& input,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
              const Mirel::Core::AsyncApiResultCb& result) override {
    EXPECT_EQ(method->ToString(), "a.b.c");
    EXPECT_TRUE(input && activation);
    script(result);
  }

  std::function<void(const Mirel::Core::AsyncApiResultCb&)> script;
};

// Keeps what is logged at severity 0, a line a record.
class TraceLog final : public Mirel::Log::Logger {
 public:
  std::unique_ptr<Mirel::Log::LogRecord> OpenRecord(Mirel::Log::SeverityLevel severity) override {
    return severity == Mirel::Log::SeverityLevel::Trace ? std::make_unique<Record>(text) : nullptr;
  }

  std::string text;

 private:
  class Record final : public Mirel::Log::LogRecord {
   public:
    explicit Record(std::string& text) : text_(text) {}
    ~Record() override { text_ += stream_.str() + '\n'; }
    std::ostream& Stream() override { return stream_; }

   private:
    std::string& text_;
    std::ostringstream stream_;
  };
};

inline void Call(Mirel::Core::AsyncApiProvider& filter,
                 const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                 Mirel::Core::AsyncApiResultCb::Callable result) {
  filter.Invoke(
      std::make_shared<const Mirel::Core::MethodIdentifier>(Mirel::Core::MethodIdentifier{"a.b", "c"}),
      Mirel::Data::DataValue::Create("input"), activation, Mirel::Core::AsyncApiResultCb(std::move(result)));
}

}  // namespace Bridge
