#include "bench/daemonProcess.h"

#include <sys/resource.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "bench/tcp.h"
#include "testing/daemon.h"
#include "testing/processFolder.h"

namespace Bench {
namespace {

constexpr const char kStreaming[] = "application/vnd.tessaly.mirel.clean.stream.json";

std::uint32_t NextVmPort() {
  static std::uint32_t next = 7777;
  return next++;
}

std::string WriteConfiguration(std::uint16_t port, std::uint32_t vmPort) {
  auto file = Testing::ProcessFolder() + "/config." + std::to_string(vmPort);
  std::ofstream(file) << "<config><mirelPort>" << port << "</mirelPort><vmListenPort>" << vmPort
                      << "</vmListenPort></config>";
  return file;
}

}  // namespace

DaemonProcess::DaemonProcess(const std::string& program)
    : port_(Testing::FreePort()),
      vmPort_(NextVmPort()),
      process_({program, WriteConfiguration(port_, vmPort_)},
               {"KRELL_HOST_DIR=" + Testing::SharedHost().Directory()}) {
  if (!process_.WaitForLog("Running IO service")) {
    throw std::runtime_error(program + " does not start:\n" + process_.Log());
  }
}

void DaemonProcess::AllowMoreConnections() const {
  rlimit limit{};
  prlimit(pid(), RLIMIT_NOFILE, nullptr, &limit);
  limit.rlim_cur = limit.rlim_max;
  if (prlimit(pid(), RLIMIT_NOFILE, &limit, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "the daemon's descriptors");
  }
}

Corvane::FileDescriptor DaemonProcess::Subscribe(std::string_view wanted) const {
  auto connection = Connect(port_);
  SendAll(connection.Get(),
          Testing::CallRequest(Testing::kSubscribe, R"({"spec":)" + std::string(wanted) + "}", kStreaming));
  return connection;
}

}  // namespace Bench
