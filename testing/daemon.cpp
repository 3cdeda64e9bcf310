#include "testing/daemon.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "testing/temporaryFolder.h"

namespace Testing {
namespace {

constexpr auto kPatience = std::chrono::seconds(20);
constexpr auto kPollInterval = std::chrono::milliseconds(2);

std::string MakeFolder() {
  std::string name = "/tmp/nornhesper-test.XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("mkdtemp failed");
  return name;
}

// The folder of this process's files; removed at its end.
const std::string& Folder() {
  // Never destroyed: it is still wanted at the very end.
  static const auto& folder = *new std::string([] {
    auto name = MakeFolder();
    std::atexit([] { (void)!std::system(("rm -rf " + Folder()).c_str()); });
    return name;
  }());
  return folder;
}

template <typename Condition>
bool WaitUntil(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(kPollInterval);
  }
  return true;
}

std::size_t Count(const std::string& text, std::string_view part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++times;
  return times;
}

}  // namespace

std::uint16_t FreePort() {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("no free port");
  }
  close(fd);
  return ntohs(address.sin_port);
}

Krell::Host& SharedHost() {
  static Krell::Host host = [] {
    const auto directory = Folder() + "/host";
    setenv("KRELL_HOST_DIR", directory.c_str(), 1);
    return Krell::Host(directory);
  }();
  return host;
}

Vm::Vm(std::uint32_t cid, bool privileged) : cid_(cid) {
  const auto number = std::to_string(cid);
  SharedHost().Add({cid, "bios-" + number, "uuid-" + number, "vm-" + number, privileged});
}

Vm::~Vm() {
  SharedHost().Remove(cid_);
}

Daemon::Daemon(const Options& options) {
  static std::atomic<std::uint32_t> number{0};
  const auto mine = number++;
  port_ = FreePort();
  vmPort_ = 7777 + mine;
  logFile_ = Folder() + "/log." + std::to_string(mine);
  const auto configFile = Folder() + "/config." + std::to_string(mine);
  std::ofstream(configFile) << "<config><mirelPort>" << port_ << "</mirelPort><vmListenPort>" << vmPort_
                            << "</vmListenPort>" << options.settings << "</config>";
  const auto directory = options.hostDirectory.empty() ? SharedHost().Directory() : options.hostDirectory;
  pid_ = fork();
  if (pid_ == 0) {
    const int log = open(logFile_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    dup2(log, STDERR_FILENO);
    setenv("KRELL_HOST_DIR", directory.c_str(), 1);
    for (const auto& variable : options.environment) {
      const auto equals = variable.find('=');
      setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
    }
    execl(NORNHESPERD_PROGRAM, NORNHESPERD_PROGRAM, configFile.c_str(), nullptr);
    _exit(127);
  }
  if (options.waitUntilRunning && !WaitForLog("Running IO service...")) {
    throw std::runtime_error("the daemon does not start:\n" + Log());
  }
  if (options.maxFiles != 0) {
    const rlimit limit{options.maxFiles, options.maxFiles};
    prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr);
  }
}

Daemon::~Daemon() {
  if (pid_ <= 0) return;
  Signal(SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string Daemon::Log() const {
  return ReadFile(logFile_);
}

bool Daemon::WaitForLog(std::string_view text, std::size_t times) const {
  return WaitUntil([&] { return Count(Log(), text) >= times; });
}

bool Daemon::IsRunning() {
  return pid_ > 0 && waitpid(pid_, nullptr, WNOHANG) == 0;
}

void Daemon::Signal(int number) const {
  kill(pid_, number);
}

int Daemon::Wait() {
  int status = 0;
  const auto ended = [&] { return waitpid(pid_, &status, WNOHANG) == pid_; };
  if (!WaitUntil(ended)) throw std::runtime_error("the daemon does not end");
  pid_ = -1;
  return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

std::string Publish(Krell::GuestSocket& guest, const Daemon& daemon, std::string_view text,
                    std::chrono::milliseconds timeout) {
  guest.Send(daemon.vmPort(), text);
  const auto answer = guest.Receive(timeout);
  return answer ? answer->text : std::string();
}

std::string GoodAcknowledgement(std::uint64_t sequence) {
  return "{\n\"sequence\":" + std::to_string(sequence) + ",\n\"status\":\"ok\",\n\"rateLimit\":2\n}";
}

}  // namespace Testing
