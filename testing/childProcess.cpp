#include "testing/childProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "testing/eventually.h"
#include "testing/processFolder.h"
#include "testing/temporaryFolder.h"

namespace Testing {

ChildProcess::ChildProcess(std::vector<std::string> command, const std::vector<std::string>& environment) {
  static std::atomic<int> number{0};
  logFile_ = ProcessFolder() + "/log." + std::to_string(number++);
  std::vector<char*> arguments;
  for (auto& argument : command) arguments.push_back(argument.data());
  arguments.push_back(nullptr);
  pid_ = fork();
  if (pid_ != 0) return;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  dup2(open(logFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600), STDERR_FILENO);
  for (const auto& variable : environment) {
    const auto equals = variable.find('=');
    setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
  }
  execv(arguments[0], arguments.data());
  _exit(127);
}

ChildProcess::~ChildProcess() {
  if (pid_ <= 0) return;
  Signal(SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string ChildProcess::Log() const {
  return ReadFile(logFile_);
}

std::size_t ChildProcess::Logged(std::string_view text) const {
  const auto log = Log();
  std::size_t times = 0;
  for (auto at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size())) ++times;
  return times;
}

bool ChildProcess::WaitForLog(std::string_view text, std::size_t times) const {
  return Eventually([&] { return Logged(text) >= times; });
}

bool ChildProcess::IsRunning() {
  return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0;
}

void ChildProcess::Signal(int number) const {
  kill(pid_, number);
}

int ChildProcess::Wait() {
  int status = 0;
  if (!Eventually([&] { return waitpid(pid_, &status, WNOHANG) == pid_; })) {
    throw std::runtime_error("the process does not end");
  }
  pid_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::size_t ChildProcess::ResidentBytes() const {
  std::ifstream file("/proc/" + std::to_string(pid_) + "/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  file >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

std::size_t ChildProcess::Descriptors() const {
  const std::filesystem::directory_iterator entries("/proc/" + std::to_string(pid_) + "/fd");
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace Testing
