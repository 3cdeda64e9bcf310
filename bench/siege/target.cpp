#include "bench/siege/target.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "bench/siege/client.h"
#include "bench/siege/time.h"
#include "platform/corvane/paths.h"
#include "testing/daemon.h"

namespace Siege {
namespace {

#ifdef PAM_WRAPPER_LIBRARY
constexpr const char* kWrapper = PAM_WRAPPER_LIBRARY;
constexpr const char* kFastServices = PAM_SERVICES;
constexpr const char* kSlowServices = SLOW_PAM_SERVICES;
#else
constexpr const char* kWrapper = nullptr;
constexpr const char* kFastServices = "";
constexpr const char* kSlowServices = "";
#endif

std::uintmax_t Size(const std::string& file) {
  std::error_code ignored;
  const auto size = std::filesystem::file_size(file, ignored);
  return ignored ? 0 : size;
}

void UsePasswords(Passwords passwords) {
  if (passwords == Passwords::Host) return;
  setenv("LD_PRELOAD", kWrapper, 1);
  setenv("PAM_WRAPPER", "1", 1);
  setenv("PAM_WRAPPER_SERVICE_DIR", passwords == Passwords::Fast ? kFastServices : kSlowServices, 1);
}

}  // namespace

bool Target::Supports(Passwords passwords) {
  return passwords == Passwords::Host || kWrapper != nullptr;
}

Target::Target(const TargetOptions& options)
    : port_(Testing::FreePort()), auditBefore_(Size(Corvane::Paths::kAuditFile)) {
  static std::uint32_t number = 0;
  vmPort_ = 7777 + number++;
  const auto files = Testing::SharedHost().Directory() + "-" + std::to_string(vmPort_);
  logFile_ = files + ".log";
  const auto configFile = files + ".xml";
  std::ofstream(configFile) << "<config><mirelPort>" << port_ << "</mirelPort><vmListenPort>" << vmPort_
                            << "</vmListenPort><requestHistoryAll>true</requestHistoryAll></config>";
  const int standardError = OpenSink(options.sink);
  pid_ = fork();
  if (pid_ == 0) Run(standardError, options.passwords, configFile);
  close(standardError);
  WaitUntilItServes();
  if (options.sink == ErrorSink::BrokenPipe) close(std::exchange(unread_, -1));
}

Target::~Target() {
  if (unread_ >= 0) close(unread_);
  if (IsRunning()) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  unlink(logFile_.c_str());
}

int Target::OpenSink(ErrorSink sink) {
  if (sink == ErrorSink::File) return open(logFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  unread_ = ends[0];
  return ends[1];
}

void Target::Run(int standardError, Passwords passwords, const std::string& configFile) const {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(standardError, STDERR_FILENO);
  close_range(STDERR_FILENO + 1, ~0U, 0);  // the victims' sockets aren't the daemon's
  UsePasswords(passwords);
  execl(NORNHESPERD_PROGRAM, NORNHESPERD_PROGRAM, configFile.c_str(), nullptr);
  _exit(127);
}

void Target::WaitUntilItServes() {
  const auto patience = Clock::now() + seconds(20);
  while (!CanConnect(port_)) {
    if (!IsRunning() || Clock::now() > patience) throw std::runtime_error("the daemon doesn't start");
    Sleep(milliseconds(5));
  }
}

bool Target::IsRunning() {
  if (!ending_.empty()) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) != pid_) return true;
  ending_ = WIFSIGNALED(status) ? "killed by signal " + std::to_string(WTERMSIG(status))
                                : "ended with status " + std::to_string(WEXITSTATUS(status));
  return false;
}

std::uintmax_t Target::LogBytes() const {
  return Size(logFile_);
}

std::uintmax_t Target::AuditBytes() const {
  return Size(Corvane::Paths::kAuditFile) - auditBefore_;
}

}  // namespace Siege
