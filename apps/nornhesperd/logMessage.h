#pragma once

#include <string>

#include "platform/corvane/format.h"
#include "platform/corvane/log.h"

namespace NornHesper {

class GlobalContext;

// The context, when a line of this level would be written now, otherwise null. Before the logger is ready
// every line is written, to the early log.
GlobalContext* LogContext(Corvane::Service::Logger::LogLevel level);

// Writes one line, whatever its level.
void LogMessage(GlobalContext* context, Corvane::Service::Logger::LogLevel level, const char* file, int line,
                const std::string& function, const std::string& message);

// The name in the compiler's long form of a signature: what is between the first blank and the first
// parenthesis.
std::string ExtractFunctionName(const char* prettySignature);

}  // namespace NornHesper

// The daemon's log statement: HESPER_LOG(level, format, arguments...). Nothing after the level is evaluated
// when the line is not to be written.
#define HESPER_LOG(level, ...) HESPER_LOG_TEXT(level, ::Corvane::Detail::ASPrintInternal(__VA_ARGS__))

// A fault of an operation that reports by Result: HESPER_FAIL(result, code, format, arguments...) adds the
// record and logs the same text at level 3.
#define HESPER_FAIL(result, code, ...)                                                  \
  do {                                                                                  \
    const std::string hesperFailText = ::Corvane::Detail::ASPrintInternal(__VA_ARGS__); \
    (result).AddError(code, hesperFailText);                                            \
    HESPER_LOG_TEXT(3, hesperFailText);                                                 \
  } while (false)

// A finished text; used by the two above.
#define HESPER_LOG_TEXT(level, text)                                                          \
  do {                                                                                        \
    if (::NornHesper::GlobalContext* hesperLogContext = ::NornHesper::LogContext(level)) {    \
      ::NornHesper::LogMessage(hesperLogContext, level, __FILE_NAME__, __LINE__,              \
                               ::NornHesper::ExtractFunctionName(__PRETTY_FUNCTION__), text); \
    }                                                                                         \
  } while (false)
