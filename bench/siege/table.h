#pragma once

#include "bench/siege/stage.h"

namespace Siege {

void PrintHeading();
void PrintRow(const Scene& scene, const Outcome& outcome);

}  // namespace Siege
