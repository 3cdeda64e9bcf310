#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "fleet/exporter/request.h"

namespace Fleet {

// Who a browser acts for. A page of anybody's can have a browser call this host's loopback address, under a
// name of its own that it has pointed there (DNS rebinding), or with the cookies of another page.
class OriginGuard final {
 public:
  // The server's names, without ports: "localhost", "127.0.0.1", "[::1]".
  explicit OriginGuard(std::vector<std::string> names);

  // The Host header names this server. Any port will do, as tunnels have others.
  bool IsForUs(const Request& request) const;
  // Sent by a page of this server's: Origin is there and is what the Host header says.
  static bool IsFromOurPage(const Request& request);
  // Sent for the page of another server, as far as the browser says so.
  static bool IsFromForeignPage(const Request& request);

 private:
  std::vector<std::string> names_;
};

}  // namespace Fleet
