#pragma once

#include <cstdint>

#include "framework/core/dateTime.h"

// The structures of the statistics service, as its metadata describes them. Numbers count since the start of
// the process, unless they say that they are of now.
namespace Com::Tessaly::Norn::Hesper {

// Texts of guests, with the causes of those that were refused.
struct PublicationStats {
  std::int64_t accepted = 0;
  std::int64_t acceptedBytes = 0;
  std::int64_t refusedJson = 0;
  std::int64_t refusedHeader = 0;
  std::int64_t refusedSchema = 0;
  std::int64_t refusedTime = 0;
  std::int64_t refusedPayload = 0;
  std::int64_t refusedBytes = 0;
  std::int64_t unknownCids = 0;
  std::int64_t acknowledgementsFailed = 0;
};

struct CidCacheStats {
  std::int64_t entries = 0;  // now
  std::int64_t hits = 0;
  std::int64_t misses = 0;
  std::int64_t evictions = 0;
};

struct SubscriptionStats {
  std::int64_t current = 0;  // now
  std::int64_t opened = 0;
  std::int64_t deliveries = 0;
  std::int64_t deliveredBytes = 0;  // of the guests' texts
  std::int64_t droppedQueues = 0;
  std::int64_t droppedPublications = 0;
};

struct HistoryStats {
  std::int64_t requestsSent = 0;
  std::int64_t requestsFailed = 0;
};

struct ConnectionStats {
  std::int64_t current = 0;  // now
  std::int64_t accepted = 0;
};

struct LoginStats {
  std::int64_t refusedPassword = 0;
  std::int64_t refusedUser = 0;
  std::int64_t refusedToken = 0;
  std::int64_t refusedEntitlement = 0;
};

struct AuditStats {
  std::int64_t recordsLost = 0;
};

struct ProcessStats {
  std::int64_t descriptors = 0;   // now
  std::int64_t postsWaiting = 0;  // now
  std::int64_t longestPostWaitMicroseconds = 0;
};

struct Stats {
  ::Mirel::DateTime startTime;
  PublicationStats publications;
  CidCacheStats cidCache;
  SubscriptionStats subscriptions;
  HistoryStats history;
  ConnectionStats connections;
  LoginStats logins;
  AuditStats audit;
  ProcessStats process;
};

}  // namespace Com::Tessaly::Norn::Hesper
