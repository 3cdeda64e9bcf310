#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "platform/corvane/config.h"
#include "platform/corvane/log.h"
#include "platform/corvane/object.h"
#include "platform/corvane/thread.h"

namespace Corvane {
class SessionManager;
}

namespace Corvane::Service {

// What the process has one of: its configuration, its logger and its sessions, whose number "sessions/limit"
// of the configuration bounds.
class Application final : public ObjectImpl {
 public:
  Application(Ref<Config> config, Ref<Logger> logger);
  ~Application() override;

  const Ref<Config>& GetConfig() const { return config_; }
  const Ref<Logger>& GetLogger() const { return logger_; }
  const Ref<SessionManager>& GetSessionManager() const { return sessionManager_; }

  // Starts a thread that runs the body. The name is shown by the system's tools, cut to 15 bytes; a stack
  // of 0 bytes means the system's default. An exception that leaves the body ends the process. Throws
  // Corvane::Exception when there is no thread to be had.
  Ref<System::Thread> StartThread(const std::string& name, std::function<void()> body,
                                  std::size_t stackBytes = 0) const;

 private:
  Ref<Config> config_;
  Ref<Logger> logger_;
  Ref<SessionManager> sessionManager_;
};

// Reads the configuration file and brings up the application object and the default logger. Throws
// Corvane::Exception with the file and the reason; the process's logging is then as before. Called once, on
// the main thread, before there are others.
void InitApp(const std::string& configPath);

// Null before InitApp.
Ref<Application> GetApp();

}  // namespace Corvane::Service
