#pragma once

#include <string_view>

#include "framework/transport/request/headerRange.h"

namespace Mirel::Transport::Http {

// Whether the caller may be a program on this machine, and not a web page in a browser on it. Such a request
// has no "Origin" (RFC 6454), which browsers send with every call of a page, and its "Host", if there is one,
// names the loopback: a page could have a name of its own choice resolved to this address.
bool IsLocalCaller(HeaderRange& headers);

// "localhost", an address of 127.0.0.0/8 or [::1], each with or without a port.
bool IsLoopbackHost(std::string_view host);

// Whether the request has credentials in its head, right or wrong.
bool HasCredentials(HeaderRange& headers);

}  // namespace Mirel::Transport::Http
