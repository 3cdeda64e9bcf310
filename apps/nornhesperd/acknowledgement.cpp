#include "apps/nornhesperd/acknowledgement.h"
#include "lib/public/api/guestLimits.h"

#include <string_view>

namespace NornHesper {

std::string MakeAcknowledgement(const PublishOutcome& outcome) {
  std::string text = "{\n";
  if (outcome.hasSequence) {
    text.append("\"sequence\":").append(std::to_string(outcome.sequence)).append(",\n");
  }
  if (outcome.errors.HasErrors()) {
    const std::string diagnosis = outcome.errors.ToString();
    text.append("\"status\":\"bad\",\n\"diagnosis\":\"");
    text.append(std::string_view(diagnosis).substr(0, kLargestDiagnosis));
    text.append("\",\n");
  } else {
    text.append("\"status\":\"ok\",\n");
  }
  return text.append("\"rateLimit\":").append(std::to_string(kPeerRateLimit)).append("\n}");
}

}  // namespace NornHesper
