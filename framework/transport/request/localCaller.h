#pragma once

#include <string_view>

#include "framework/transport/request/headerRange.h"

namespace Mirel::Transport::Http {

// Whether a request may have been made for a program of this machine, and not for a web page in a browser on
// it: it carries no "Origin" (RFC 6454, which browsers send with every call of a page), and its "Host", if
// any, names the loopback, so that no name of a page's choice was resolved to get here.
bool IsLocalCaller(HeaderRange& headers);

// "localhost", an address of 127.0.0.0/8 or [::1], each with or without a port.
bool IsLoopbackHost(std::string_view host);

// Whether the request brings credentials in its head; whether they hold is for others to find out.
bool HasCredentials(HeaderRange& headers);

}  // namespace Mirel::Transport::Http
