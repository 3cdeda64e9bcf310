#include "testing/daemon.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "testing/processFolder.h"

namespace Testing {

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
    const auto directory = ProcessFolder() + "/host";
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
  const auto configFile = ProcessFolder() + "/config." + std::to_string(mine);
  std::ofstream(configFile) << "<config><mirelPort>" << port_ << "</mirelPort><vmListenPort>" << vmPort_
                            << "</vmListenPort>" << options.settings << "</config>";
  auto environment = options.environment;
  environment.push_back("KRELL_HOST_DIR=" +
                        (options.hostDirectory.empty() ? SharedHost().Directory() : options.hostDirectory));
  process_.emplace(std::vector<std::string>{NORNHESPERD_PROGRAM, configFile}, environment);
  if (options.waitUntilRunning && !WaitForLog("Running IO service...")) {
    throw std::runtime_error("the daemon does not start:\n" + Log());
  }
  if (options.maxFiles != 0) {
    const rlimit limit{options.maxFiles, options.maxFiles};
    prlimit(pid(), RLIMIT_NOFILE, &limit, nullptr);
  }
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
