#include "framework/transport/serverConfig.h"

#include <ostream>

namespace Mirel::Transport::PicoHttp {

std::string DurationText(std::chrono::nanoseconds duration) {
  const long n = duration.count();
  if (n <= 999) return std::to_string(n) + " nanoseconds";
  if (n <= 999999) return std::to_string(n / 1000) + " microseconds";
  if (n <= 999999999) return std::to_string(n / 1000000) + " milliseconds";
  const long minutes = n / 1000000000 / 60;
  const long seconds = n / 1000000000 % 60;
  if (minutes == 0) return std::to_string(seconds) + " seconds";
  const std::string text = std::to_string(minutes) + " minutes";
  return seconds == 0 ? text : text + " and " + std::to_string(seconds) + " seconds";
}

std::ostream& operator<<(std::ostream& out, const ServerConfig& config) {
  out << "readTimeout:" << DurationText(config.readTimeout)
      << ";writeTimeout:" << DurationText(config.writeTimeout)
      << ";httpBodySizeLimitInBytes:" << config.httpBodySizeLimitInBytes
      << ";ProtocolHandlerSpec::extractors ";
  if (config.spec.extractors.empty()) return out << "not set";
  return out << "count:" << config.spec.extractors.size();
}

}  // namespace Mirel::Transport::PicoHttp
