#pragma once

#include <sysroot.h>

// The fixed paths of the system. NORNHESPER_SYSROOT, empty on a real host, is set when the tree is configured
// and lets a build run from its own folder. Nothing moves these paths at run time.
namespace Corvane::Paths {

inline constexpr const char kDefaultConfigFile[] =
    NORNHESPER_SYSROOT "/etc/tessaly/cpservices/nornhesper/config.xml";
inline constexpr const char kTokenKeysFile[] =
    NORNHESPER_SYSROOT "/etc/tessaly/cpservices/nornhesper/jwks.json";
inline constexpr const char kTokenSigningKeyFile[] =
    NORNHESPER_SYSROOT "/etc/tessaly/cpservices/nornhesper/tokenKey.json";
inline constexpr const char kMetadataFile[] =
    NORNHESPER_SYSROOT "/usr/lib/tessaly/mirel/nornhesper_mirel_metadata.json";
inline constexpr const char kPidFile[] = NORNHESPER_SYSROOT "/var/run/tessaly/nornhesperd.PID";
inline constexpr const char kAuditFile[] = NORNHESPER_SYSROOT "/var/log/tessaly/audit.log";
inline constexpr const char kEarlyLogFile[] = NORNHESPER_SYSROOT "/var/log/nornhesperd.log";

}  // namespace Corvane::Paths
