#pragma once

#include <chrono>
#include <cstddef>

// What the exporter keeps, takes and waits for at most, whoever calls and whatever guests write.
namespace Fleet {

// HTTP.
inline constexpr unsigned kMostConnections = 128;
// Of one user of this host, so that nobody takes all of them.
inline constexpr std::size_t kMostConnectionsOfOneUser = 64;
inline constexpr std::size_t kConnectionBytes = 32U << 10U;  // a request's head, and the buffers for its body
inline constexpr std::size_t kMostBody = 16U << 10U;
inline constexpr std::chrono::seconds kIdleTime{20};
inline constexpr std::chrono::seconds kRequestTime{10};
inline constexpr std::chrono::seconds kAnswerTime{60};
// Metric pages that are being made or sent; each can have some ten megabytes.
inline constexpr std::size_t kMostPages = 4;

// Tokens and sessions.
inline constexpr std::size_t kMostToken = 4096;
inline constexpr std::chrono::seconds kCheckTime{3};
inline constexpr std::size_t kCheckThreads = 4;
inline constexpr std::size_t kMostChecks = 256;
inline constexpr std::size_t kMostGoodTokens = 128;
// For how long a token is believed while the daemon can't be asked.
inline constexpr std::chrono::minutes kBelieved{10};
inline constexpr std::size_t kMostSessions = 64;
inline constexpr std::chrono::hours kSessionTime{12};
inline constexpr std::chrono::minutes kBetweenChecks{1};
inline constexpr double kTriesAtOnce = 5;
inline constexpr double kTriesPerSecond = 1;
inline constexpr std::size_t kMostTriers = 64;

// What is known of the VMs.
inline constexpr std::size_t kMostVms = 4096;
inline constexpr std::chrono::hours kForgetVm{24};
inline constexpr std::size_t kMostTopics = 32;
inline constexpr std::size_t kMostTopicBytes = 4096;  // of one VM
inline constexpr std::size_t kMostTopicLength = 256;
inline constexpr std::size_t kMostVmId = 256;
inline constexpr std::size_t kMostTimeLength = 64;

// The newest publications and those who look at them.
inline constexpr std::size_t kMostNewest = 1000;
inline constexpr std::size_t kMostNewestBytes = 4U << 20U;
inline constexpr std::size_t kMostPayload = 4096;
inline constexpr std::size_t kMostViewers = 16;
inline constexpr std::size_t kFirstEvents = 100;
inline constexpr unsigned kEventsPerSecond = 50;
inline constexpr std::size_t kViewerBytes = 1U << 20U;
inline constexpr std::chrono::seconds kHeartbeat{15};

}  // namespace Fleet
