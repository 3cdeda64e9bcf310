#include "tools/host/qmpImport.h"

#include <rapidjson/document.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "platform/corvane/fileDescriptor.h"

namespace Tools {
namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr std::size_t kLongestLine = 1 << 20;
constexpr const char* kNoUuid = "00000000-0000-0000-0000-000000000000";

// One line of JSON a message, both ways.
class Qmp {
 public:
  explicit Qmp(const std::string& path) : socket_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) throw std::runtime_error("the socket's path is too long");
    std::memcpy(address.sun_path, path.data(), path.size());
    const timeval second{1, 0};
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second);
    setsockopt(socket_.Get(), SOL_SOCKET, SO_SNDTIMEO, &second, sizeof second);
    if (connect(socket_.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::system_error(errno, std::generic_category(), path);
    }
    ReadMessage();
    Call(R"({"execute":"qmp_capabilities"})");
  }

  // The command's result, which lives as long as the next call.
  const rapidjson::Value& Call(const std::string& command) {
    const std::string line = command + "\n";
    if (send(socket_.Get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
      throw std::runtime_error("QEMU takes no commands");
    }
    for (;;) {
      ReadMessage();
      const rapidjson::Document& message = *message_;
      const auto result = message.FindMember("return");
      if (result != message.MemberEnd()) return result->value;
      if (message.HasMember("error")) throw std::runtime_error("QEMU refuses " + command);
    }
  }

 private:
  void ReadMessage() {
    while (read_.find('\n') == std::string::npos) {
      char part[4096];
      const ssize_t size = recv(socket_.Get(), part, sizeof part, 0);
      const bool isLate = std::chrono::steady_clock::now() > deadline_;
      if (size == 0 || isLate || read_.size() > kLongestLine) {
        throw std::runtime_error("QEMU does not answer");
      }
      if (size > 0) read_.append(part, static_cast<std::size_t>(size));
    }
    const auto end = read_.find('\n');
    // A new one each time, as a document keeps its memory. A deep message takes no stack.
    message_ = std::make_unique<rapidjson::Document>();
    message_->Parse<rapidjson::kParseIterativeFlag>(read_.data(), end);
    read_.erase(0, end + 1);
    if (message_->HasParseError() || !message_->IsObject()) {
      throw std::runtime_error("QEMU's answer is no JSON");
    }
  }

  const Corvane::FileDescriptor socket_;
  const std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::now() + kPatience;
  std::string read_;
  std::unique_ptr<rapidjson::Document> message_;
};

std::string Member(const rapidjson::Value& object, const char* name) {
  if (!object.IsObject()) return {};
  const auto member = object.FindMember(name);
  return member != object.MemberEnd() && member->value.IsString() ? member->value.GetString() : "";
}

// Empty if the VM has no vsock.
std::string FindVsock(Qmp& qmp) {
  for (const std::string folder : {"/machine/peripheral", "/machine/peripheral-anon"}) {
    const auto& devices = qmp.Call(R"({"execute":"qom-list","arguments":{"path":")" + folder + "\"}}");
    if (!devices.IsArray()) continue;
    for (const auto& device : devices.GetArray()) {
      if (!Member(device, "type").starts_with("child<vhost-vsock-")) continue;
      return folder + "/" + Member(device, "name");
    }
  }
  return {};
}

}  // namespace

Krell::VmIdentity AskQemu(const std::string& socketPath) {
  Qmp qmp(socketPath);
  Krell::VmIdentity vm;
  vm.biosUuid = Member(qmp.Call(R"({"execute":"query-uuid"})"), "UUID");
  const bool hasUuid = !vm.biosUuid.empty() && vm.biosUuid != kNoUuid;
  if (!hasUuid) throw std::runtime_error("the VM has no uuid (option -uuid)");
  vm.vmUuid = vm.biosUuid;
  vm.mgrVmId = Member(qmp.Call(R"({"execute":"query-name"})"), "name");
  if (vm.mgrVmId.empty()) vm.mgrVmId = vm.vmUuid;
  const std::string device = FindVsock(qmp);
  if (device.empty()) throw std::runtime_error("the VM has no vsock (option -device vhost-vsock-pci)");
  const auto& cid =
      qmp.Call(R"({"execute":"qom-get","arguments":{"path":")" + device + R"(","property":"guest-cid"}})");
  if (!cid.IsUint()) throw std::runtime_error("the VM's vsock has no cid");
  vm.cid = cid.GetUint();
  return vm;
}

}  // namespace Tools
