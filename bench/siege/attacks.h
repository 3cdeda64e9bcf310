#pragma once

#include <cstdint>

#include "bench/siege/attacker.h"

namespace Siege {

// The VMs of hostile guests. The last ones belong to the friends of slow readers.
inline constexpr std::uint32_t kFirstHostileCid = 5000;
inline constexpr std::uint32_t kHostileVms = 170;
inline constexpr std::uint32_t kFirstLargeCid = kFirstHostileCid + 160;

// connections.cpp
void IdleConnections(const Assault& assault);
void AnsweredConnections(const Assault& assault);
// leavers.cpp
void Leavers(const Assault& assault);
// bodies.cpp
void UnfinishedBodies(const Assault& assault);
void PretendersBodies(const Assault& assault);
void BigBodies(const Assault& assault);
// hostileGuests.cpp
void Repeats(const Assault& assault);
void BadTexts(const Assault& assault);
// names.cpp
void LongNames(const Assault& assault);
void ControlNames(const Assault& assault);
void LongContexts(const Assault& assault);
void ManyRefusals(const Assault& assault);
// logins.cpp
void WrongLogins(const Assault& assault);
void OneSlowLogin(const Assault& assault);
// slow.cpp
void SlowClients(const Assault& assault);
// strangers.cpp
void Churn(const Assault& assault);
void ForgedTokens(const Assault& assault);
// pipelines.cpp
void Pipelines(const Assault& assault);

}  // namespace Siege
