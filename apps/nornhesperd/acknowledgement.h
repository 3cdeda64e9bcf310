#pragma once

#include <string>

#include "apps/nornhesperd/registry.h"

namespace NornHesper {

// The answer to a guest. It is a JSON text only if the diagnosis is free of quotation marks and line feeds:
// guests know the diagnosis as unescaped text between two fixed lines.
std::string MakeAcknowledgement(const PublishOutcome& outcome);

}  // namespace NornHesper
