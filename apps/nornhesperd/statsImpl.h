#pragma once

#include "bindings/statsService.h"

namespace NornHesper {

// Gathers the numbers from all over the process. Counting the descriptors is what costs most
// (descriptorsLeft.h).
class StatsImpl final : public Com::Tessaly::Norn::Hesper::StatsSvc::ServiceInterface {
 public:
  Com::Tessaly::Norn::Hesper::Stats Get() const override;
};

}  // namespace NornHesper
