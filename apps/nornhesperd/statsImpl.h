#pragma once

#include "bindings/statsService.h"

namespace NornHesper {

// Gathers the numbers from all over the process. Costs some 20 us, nearly all of it for the descriptors.
class StatsImpl final : public Com::Tessaly::Norn::Hesper::StatsSvc::ServiceInterface {
 public:
  Com::Tessaly::Norn::Hesper::Stats Get() const override;
};

}  // namespace NornHesper
