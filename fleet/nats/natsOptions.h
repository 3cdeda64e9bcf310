#pragma once

#include <string>
#include <vector>

namespace Fleet {

// How to reach a NATS server, or a cluster of them, and as whom.
struct NatsOptions {
  std::vector<std::string> servers = {};  // URLs, nats:// or tls://; empty: nats://127.0.0.1:4222
  std::string credentials = {};           // a .creds file, or a file whose first line is USER:PASSWORD
  std::string tlsCa = {};
  std::string tlsCert = {};
  std::string tlsKey = {};
};

}  // namespace Fleet
