#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Siege {

inline constexpr const char kSubscribe[] = "com.tessaly.norn.hesper.guest_data.subscribe";
inline constexpr const char kStreaming[] = "application/vnd.tessaly.mirel.clean.stream.json";
// Open to everyone.
inline constexpr const char kOpenCall[] = "com.tessaly.mirel.std.introspection.service.list";

sockaddr_in Loopback(std::uint16_t port);
bool CanConnect(std::uint16_t port);

// A POST with that body and the header lines that it needs, its length among them.
std::string Post(std::string_view body, std::string_view moreHeaders = "");
// The same head, and only the first bytes of a body of that length.
std::string HalfPost(std::size_t length, std::string_view begin, std::string_view moreHeaders = "");
// What a caller without credentials sends to call the method with the input; both are JSON.
std::string AnonymousCall(std::string_view method, std::string_view input);

// Sends the request on a connection of its own and gives the whole answer; empty where there's none.
std::string Ask(std::uint16_t port, std::string_view request);

}  // namespace Siege
