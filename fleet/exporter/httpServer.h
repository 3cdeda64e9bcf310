#pragma once

#include <chrono>
#include <functional>

#include "fleet/exporter/connectionWatch.h"
#include "fleet/exporter/listenAddress.h"
#include "fleet/exporter/request.h"

struct MHD_Daemon;

namespace Fleet {

// HTTP/1.1 within the bounds of bounds.h. One thread of its own moves all bytes and calls the handler, which
// answers at once or later: a request that waits for its answer costs a descriptor and nothing else.
class HttpServer final {
 public:
  using Handler = std::function<void(const Request&, Reply)>;

  // Listens and serves from now on. Throws std::system_error.
  HttpServer(const ListenAddress& address, Handler handler);
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;
  // Requires: no request waits for its answer.
  ~HttpServer();

  unsigned Port() const;
  // To be called each second.
  void Tick(std::chrono::steady_clock::time_point now) { watch_.Tick(now); }

 private:
  friend struct ServerCalls;

  const Handler handler_;
  ConnectionWatch watch_;
  MHD_Daemon* daemon_;
};

}  // namespace Fleet
