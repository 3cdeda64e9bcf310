#include "apps/nornhesperd/logMessage.h"

#include <string_view>

#include "apps/nornhesperd/globalContext.h"

namespace NornHesper {

GlobalContext* LogContext(Corvane::Service::Logger::LogLevel level) {
  GlobalContext* context = GlobalContext::Get();
  return context->IsLoggerReady() && !context->GetLogger()->IsEnabled(level) ? nullptr : context;
}

void LogMessage(GlobalContext* context, Corvane::Service::Logger::LogLevel level, const char* file, int line,
                const std::string& function, const std::string& message) {
  if (context->IsLoggerReady()) {
    Corvane::Service::LogInternal(context->GetLogger(), level, "[%1 %2 %3], %4", file, line, function,
                                  message);
  } else {
    // The commas tell the early lines apart in a file that holds both.
    context->EarlyLog(Corvane::Detail::ASPrintInternal("[%1, %2, %3], %4", file, line, function, message));
  }
}

std::string ExtractFunctionName(const char* prettySignature) {
  const std::string_view head =
      std::string_view(prettySignature).substr(0, std::string_view(prettySignature).find('('));
  const std::size_t blank = head.find(' ');
  return std::string(blank == std::string_view::npos ? head : head.substr(blank + 1));
}

}  // namespace NornHesper
