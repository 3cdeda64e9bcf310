#include "platform/corvane/app.h"

#include <cstdint>
#include <utility>

#include "platform/corvane/sessionManager.h"

namespace Corvane::Service {
namespace {

// Kept to the end of the process, as other threads may run until then.
Ref<Application>& TheApplication() {
  static auto* const application = new Ref<Application>;
  return *application;
}

LogSettings ReadLogSettings(const Config& config) {
  LogSettings settings;
  config.ReadInteger("log/level", &settings.level, 0, 7);
  config.ReadString("log/file", &settings.file);
  config.ReadInteger("log/maxBytes", &settings.maxBytes, 1);
  config.ReadInteger("log/maxFiles", &settings.maxFiles, 1, 1000);
  return settings;
}

std::size_t ReadSessionLimit(const Config& config) {
  std::int32_t limit = SessionManager::kDefaultLimit;
  config.ReadInteger("sessions/limit", &limit, 1);
  return static_cast<std::size_t>(limit);
}

}  // namespace

Application::Application(Ref<Config> config, Ref<Logger> logger)
    : config_(std::move(config)),
      logger_(std::move(logger)),
      sessionManager_(MakeRef<SessionManager>(ReadSessionLimit(*config_))) {}

Application::~Application() = default;

Ref<System::Thread> Application::StartThread(const std::string& name, std::function<void()> body,
                                             std::size_t stackBytes) const {
  return MakeRef<System::Thread>(name, std::move(body), stackBytes);
}

void InitApp(const std::string& configPath) {
  Ref<Config> config = Config::Load(configPath);
  Ref<Logger> logger = Logger::Create(ReadLogSettings(*config));
  Logger::sDefaultLogger = logger;
  TheApplication() = MakeRef<Application>(std::move(config), std::move(logger));
}

Ref<Application> GetApp() {
  return TheApplication();
}

}  // namespace Corvane::Service
