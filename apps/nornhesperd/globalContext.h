#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <string>

#include "apps/nornhesperd/cidCache.h"
#include "apps/nornhesperd/configInfo.h"
#include "apps/nornhesperd/counters.h"
#include "apps/nornhesperd/publicationSchema.h"
#include "apps/nornhesperd/registry.h"
#include "apps/nornhesperd/result.h"
#include "framework/core/dateTime.h"
#include "platform/corvane/app.h"
#include "platform/corvane/log.h"

namespace Mirel::Asio {
class ConnectionTable;
}

namespace NornHesper {

// What the process has one of. Made by the first Get, on the main thread and before there are others, and
// never destroyed: the backend thread uses it until the process ends.
class GlobalContext {
 public:
  static GlobalContext* Get();

  GlobalContext(const GlobalContext&) = delete;
  GlobalContext& operator=(const GlobalContext&) = delete;

  // Brings up the base library, the schema, the pid file, the settings, the cache's bounds and the limit of
  // open files, in this order; stops at the first failure. A null path means the default file.
  Result InitializeApplication(const char* configPath);

  // Runs the I/O context on the calling thread until it is out of work. Throws boost::system::system_error.
  void RunIoService();

  // Ends the process with status 0 at once, telling no one. From any thread.
  [[noreturn]] void TerminateApplication();

  // The log before there is a logger: standard error and, if it can be written, the early log file.
  void EarlyLog(const std::string& message);

  const std::string& GetConfigPath() const { return configPath_; }
  ConfigInfo& GetConfigInfo() { return configInfo_; }
  Registry& GetRegistry() { return registry_; }
  PublicationSchema& GetPublicationSchema() { return publicationSchema_; }
  CidCache& GetCidCache() { return cidCache_; }
  bool IsLoggerReady() const { return loggerReady_; }
  // Null until the logger is ready.
  Corvane::Service::Logger* GetLogger() const { return logger_.get(); }
  Corvane::Service::Application* GetApp() const { return app_.get(); }
  boost::asio::io_context& GetIoService() { return ioService_; }
  Counters& GetCounters() { return counters_; }
  // Those of the API.
  const std::shared_ptr<Mirel::Asio::ConnectionTable>& GetConnections() const { return connections_; }
  const Mirel::DateTime& GetStartTime() const { return startTime_; }

 private:
  GlobalContext();
  ~GlobalContext() = default;

  static Result CreatePidFile();

  // In front, as they fill whole cache lines.
  Counters counters_;
  CidCache cidCache_;
  std::string configPath_;
  ConfigInfo configInfo_;
  Registry registry_;
  PublicationSchema publicationSchema_;
  bool loggerReady_ = false;
  Corvane::Ref<Corvane::Service::Application> app_;
  Corvane::Ref<Corvane::Service::Logger> logger_;
  boost::asio::io_context ioService_;
  std::shared_ptr<Mirel::Asio::ConnectionTable> connections_;
  Mirel::DateTime startTime_;
};

}  // namespace NornHesper
