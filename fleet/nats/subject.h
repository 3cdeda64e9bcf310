#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Fleet {

// No subject is longer, whatever guests call their topics.
inline constexpr std::size_t kLongestSubject = 1024;

// Throws std::invalid_argument unless the prefix is made of at most 64 letters, digits, "_", "-" and dots
// between them, so that it's a subject without wildcards.
void CheckPrefix(std::string_view prefix);

// One token of a subject: each byte but letters, digits, "_" and "-" as %XX, and "%" for an empty text. A
// token that would be longer than 256 bytes is cut and ends with "%%" and a hash of the whole text.
std::string EscapeToken(std::string_view text);
// Nothing for what EscapeToken doesn't give, and for what it has cut.
std::optional<std::string> UnescapeToken(std::string_view token);

// PREFIX.HOST.VM.TOPIC, where each component of the topic is a token. A topic that is too long, or has more
// than 32 components, gives its first whole components and a token "%%HASH" instead of the rest.
std::string PublicationSubject(std::string_view prefix, std::string_view host, std::string_view vm,
                               std::string_view topic);

// The narrowest subject with wildcards for all publications that are wanted; empty lists stand for
// everything. It may take in others too.
std::string FilterSubject(std::string_view prefix, const std::vector<std::string>& hosts,
                          const std::vector<std::string>& vms, const std::vector<std::string>& topics);

// The host of a publication's subject, as it calls itself; nothing if the subject isn't one.
std::optional<std::string> HostOf(std::string_view prefix, std::string_view subject);

// A value for a header of a message: printable ASCII without blanks and "%" as it is, other bytes as %XX. At
// most 512 bytes; the rest is cut off.
std::string HeaderValue(std::string_view text);

}  // namespace Fleet
