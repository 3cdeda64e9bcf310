#pragma once

namespace Krell {
class Host;
}

namespace Tools {

// `hesper-host list`: one line for each VM, in the order in which they were started.
void PrintVms(const Krell::Host& host);

}  // namespace Tools
