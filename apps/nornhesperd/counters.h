#pragma once

#include <array>

#include "apps/nornhesperd/publicationFault.h"
#include "framework/core/counter.h"

namespace NornHesper {

// Written by the backend thread alone.
struct alignas(Mirel::kCounterAlignment) IntakeCounters {
  Mirel::Counter& Texts(PublicationFault fault) { return texts[static_cast<std::size_t>(fault)]; }
  const Mirel::Counter& Texts(PublicationFault fault) const { return texts[static_cast<std::size_t>(fault)]; }

  std::array<Mirel::Counter, kPublicationFaults> texts;  // those without a fault are the accepted ones
  Mirel::Counter acceptedBytes;
  Mirel::Counter refusedBytes;
  Mirel::Counter unknownCids;
  Mirel::Counter acknowledgementsFailed;
};

// Written by the I/O thread alone.
struct alignas(Mirel::kCounterAlignment) ApiCounters {
  Mirel::Counter deliveries;
  Mirel::Counter deliveredBytes;  // of the guests' texts
  Mirel::Counter droppedQueues;
  Mirel::Counter droppedPublications;
  Mirel::Counter historySent;
  Mirel::Counter historyFailed;
  Mirel::Counter refusedPasswords;
  Mirel::Counter refusedUsers;
  Mirel::Counter refusedTokens;
  Mirel::Counter refusedEntitlements;
};

// What the process has counted since its start, by the thread that counts it. Other numbers are kept by the
// objects that they are about.
struct Counters {
  IntakeCounters intake;
  ApiCounters api;
};

}  // namespace NornHesper
