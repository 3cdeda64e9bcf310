#include "apps/nornhesperd/globalContext.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fstream>
#include <stdexcept>

#include "apps/nornhesperd/logMessage.h"
#include "framework/transport/connection/connectionTable.h"
#include "framework/transport/connection/inbox.h"
#include "platform/corvane/exception.h"
#include "platform/corvane/files.h"
#include "platform/corvane/paths.h"
#include "platform/corvane/standardError.h"
#include "platform/corvane/system.h"
#include "platform/corvane/textEscape.h"

namespace NornHesper {
namespace {

constexpr rlimit kOpenFiles = {.rlim_cur = 1024, .rlim_max = 2048};

std::string LocalTime() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  if (::localtime_r(&now, &parts) == nullptr) {
    throw std::runtime_error("could not convert calendar time to local time");
  }
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts)};
}

Mirel::DateTime UtcNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return Mirel::DateTime::Create(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}

Result LimitOpenFiles() {
  Result result;
  if (::setrlimit(RLIMIT_NOFILE, &kOpenFiles) != 0) {
    HESPER_FAIL(result, kErrorStartup, "failed to set max number of files, %1", std::strerror(errno));
  }
  return result;
}

// A peer or a reader of standard error that has gone, and a file that may not grow, are reported by the call
// that fails. SIGHUP does nothing to this daemon at any time, and so not before its handler is there either.
// All are caught and not ignored, which programs that a PAM module starts would inherit.
void OutliveOthers() {
  struct sigaction nothing {};
  nothing.sa_handler = [](int) {};
  nothing.sa_flags = SA_RESTART;
  for (const int number : {SIGHUP, SIGPIPE, SIGXFSZ}) ::sigaction(number, &nothing, nullptr);
}

// A file or connection that took the place of a closed standard error would be sent the log.
void OccupyStandardDescriptors() {
  int descriptor = 0;
  do {
    descriptor = ::open("/dev/null", O_RDWR);
  } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
  if (descriptor > STDERR_FILENO) ::close(descriptor);
}

}  // namespace

GlobalContext* GlobalContext::Get() {
  static GlobalContext* instance = nullptr;
  if (instance == nullptr) instance = new GlobalContext;
  return instance;
}

GlobalContext::GlobalContext()
    : connections_(std::make_shared<Mirel::Asio::ConnectionTable>()), startTime_(UtcNow()) {}

Result GlobalContext::InitializeApplication(const char* configPath) {
  OutliveOthers();
  OccupyStandardDescriptors();
  Mirel::Asio::Inbox::Of(ioService_);  // whose descriptor nobody can have taken yet
  Result result;
  configPath_ = configPath != nullptr ? configPath : Corvane::Paths::kDefaultConfigFile;
  try {
    Corvane::Service::InitApp(configPath_);
  } catch (const Corvane::Exception& error) {
    HESPER_FAIL(result, kErrorStartup, "failed to initialize corvane app with config %1, %2", configPath_,
                error.GetText());
    return result;
  }
  app_ = Corvane::Service::GetApp();
  logger_ = app_->GetLogger();
  loggerReady_ = true;

  if (result = publicationSchema_.Init(); result.HasErrors()) return result;
  if (result = CreatePidFile(); result.HasErrors()) return result;
  if (result = configInfo_.Load(); result.HasErrors()) return result;
  cidCache_.SetBounds(static_cast<unsigned>(configInfo_.GetCidCacheMaxEntries()),
                      static_cast<unsigned>(configInfo_.GetCidCacheExpirationInSeconds()));
  return LimitOpenFiles();
}

Result GlobalContext::CreatePidFile() {
  Result result;
  auto* files = Corvane::System::SystemFactory::sInstance;
  const auto path = files->MakePath(Corvane::Paths::kPidFile);
  const auto directory = path->GetParent();
  if (!files->DirectoryExists(*directory) && !files->CreateDirectory(*directory)) {
    HESPER_FAIL(result, kErrorStartup, "failed to create pid file directories %1, %2", directory->GetText(),
                std::strerror(errno));
    return result;
  }
  try {
    const auto file = files->OpenFileForWriting(*path);
    file->Write(std::to_string(::getpid()));
    file->Flush();
    file->Close();
  } catch (const Corvane::Exception& error) {
    HESPER_FAIL(result, kErrorStartup, "failed to create pid file %1, %2", path->GetText(), error.GetText());
  }
  return result;
}

void GlobalContext::RunIoService() {
  HESPER_LOG(6, "Running IO service...");
  ioService_.run();
}

void GlobalContext::TerminateApplication() {
  HESPER_LOG(6, "Terminating...");
  Corvane::System::QuickExit(0);
}

void GlobalContext::EarlyLog(const std::string& message) {
  // A record stays one line here too; ordinary text is not changed.
  const std::string line =
      LocalTime() + "Z(NonCorvane Early): " + Corvane::Detail::EscapeLine(message) + '\n';
  Corvane::Service::StandardError::Get().Write(line);
  try {
    std::ofstream(Corvane::Paths::kEarlyLogFile, std::ios::app) << line << std::flush;
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): early logging never stops the daemon
  }
}

}  // namespace NornHesper
