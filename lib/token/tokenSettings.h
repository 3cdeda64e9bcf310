#pragma once

#include <cstddef>
#include <cstdint>

// What this host demands of a token, and the bounds of what it looks at.
namespace NornToken {

inline constexpr const char* kIssuer = "urn:tessaly:norn:host";
inline constexpr const char* kAudience = "urn:tessaly:norn:hesper";
// The claim with the entitlements, an array of strings.
inline constexpr const char* kEntitlementsClaim = "entitlements";

// How far the clocks of issuer and host may differ.
inline constexpr int kClockSkewSeconds = 60;

inline constexpr std::size_t kMaxTokenBytes = 8192;
// The header is parsed before anything proves that the sender is anybody.
inline constexpr std::size_t kMaxHeaderBytes = 1024;
inline constexpr std::size_t kMaxSubjectBytes = 256;
inline constexpr std::size_t kMaxEntitlements = 64;
inline constexpr std::size_t kMaxEntitlementBytes = 128;
inline constexpr std::size_t kMaxAudiences = 64;

inline constexpr std::size_t kMaxKeyFileBytes = std::size_t{1024} * 1024;
inline constexpr std::size_t kMaxKeys = 256;
inline constexpr unsigned kMinRsaBits = 2048;
// Checking a signature of a larger key would hold up the daemon's one API thread.
inline constexpr unsigned kMaxRsaBits = 8192;

}  // namespace NornToken
