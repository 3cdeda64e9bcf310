#include "tests/agent/agentProgram.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "testing/eventually.h"
#include "tests/agent/doubles.h"

namespace Testing {
namespace {

sockaddr_un LocalAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

void AddUnlessThere(std::string& settings, const std::string& table, const std::string& lines) {
  if (settings.find("[" + table + "]") == std::string::npos) settings += "[" + table + "]\n" + lines;
}

}  // namespace

AgentProgram::AgentProgram(std::uint32_t cid, std::string settings) : cid_(cid), socket_(folder_ / "socket") {
  AddUnlessThere(settings, "socket", "path = \"" + socket_ + "\"\n");
  AddUnlessThere(settings, "store", "path = \"" + File("store/store.db") + "\"\n");
  AddUnlessThere(settings, "metrics", "node = false\ntextfile_folder = \"" + File("textfile") + "\"\n");
  configuration_ = folder_.Write("guestd.toml", settings);
}

void AgentProgram::Start(bool waits) {
  process_.reset();
  process_.emplace(std::vector<std::string>{GUESTD_PROGRAM, "--cid", std::to_string(cid_), configuration_});
  if (waits && !process_->WaitForLog("takes data on its socket")) {
    throw std::runtime_error("the agent does not start:\n" + process_->Log());
  }
}

void AgentProgram::Kill() {
  process_->Signal(SIGKILL);
  process_->Wait();
}

QuickHost::QuickHost() {
  if (const int error = socket_.Bind(7777)) {
    throw std::system_error(error, std::generic_category(), "port 7777");
  }
  socket_.SetReceiveBuffer(8 << 20);
  thread_ = std::thread([this] { Receive(); });
}

QuickHost::~QuickHost() {
  stop_ = true;
  thread_.join();
}

void QuickHost::Receive() {
  while (!stop_) {
    pollfd event{socket_.Get(), POLLIN, 0};
    poll(&event, 1, 20);
    for (;;) {
      auto [text, source] = socket_.Receive();
      if (source.cid == Krell::kAnyCid) break;
      const auto sequence = SequenceOf(text);
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        texts_.push_back(std::move(text));
      }
      // The agent may be gone by now.
      socket_.Send(source.cid, source.port, Acknowledgement(sequence, true, 1000));
    }
  }
}

std::vector<std::string> QuickHost::Texts() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return texts_;
}

std::size_t QuickHost::Count() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return texts_.size();
}

bool QuickHost::Awaits(const std::string& part, std::size_t count) const {
  return Eventually([&] {
    const auto texts = Texts();
    return static_cast<std::size_t>(std::count_if(texts.begin(), texts.end(), [&](const std::string& text) {
             return text.find(part) != std::string::npos;
           })) >= count;
  });
}

int LocalProgram::Emit(const std::string& topic, const std::string& payload, bool isLatest, int timeout) {
  if (agent_ == nullptr) {
    if (const int error = hesper_agent_open(&agent_, socket_.c_str())) return error;
  }
  hesper_item item{};
  item.topic = topic.c_str();
  item.payload = payload.data();
  item.length = payload.size();
  item.latest = isLatest ? 1 : 0;
  return hesper_agent_emit(agent_, &item, timeout, &sequence_);
}

LocalDatagrams::LocalDatagrams(const std::string& path) : fd_(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
  const auto address = LocalAddress(path);
  // The family alone lets the kernel choose an abstract address.
  const auto length = path.empty() ? sizeof(sa_family_t) : sizeof address;
  if (bind(fd_, reinterpret_cast<const sockaddr*>(&address), static_cast<socklen_t>(length)) != 0) {
    throw std::system_error(errno, std::generic_category(), "bind");
  }
  const int size = 1 << 20;
  setsockopt(fd_, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size);
}

LocalDatagrams::~LocalDatagrams() {
  close(fd_);
}

int LocalDatagrams::Send(const std::string& socket, const std::string& text, int descriptor) const {
  auto address = LocalAddress(socket);
  iovec part{const_cast<char*>(text.data()), text.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
  msghdr message{};
  message.msg_name = &address;
  message.msg_namelen = sizeof address;
  message.msg_iov = &part;
  message.msg_iovlen = 1;
  if (descriptor >= 0) {
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    auto* head = CMSG_FIRSTHDR(&message);
    head->cmsg_level = SOL_SOCKET;
    head->cmsg_type = SCM_RIGHTS;
    head->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(head), &descriptor, sizeof descriptor);
  }
  return sendmsg(fd_, &message, MSG_NOSIGNAL) >= 0 ? 0 : errno;
}

std::string LocalDatagrams::Receive(std::chrono::milliseconds time) const {
  pollfd event{fd_, POLLIN, 0};
  if (poll(&event, 1, static_cast<int>(time.count())) != 1) return "";
  char text[4096];
  const ssize_t size = recv(fd_, text, sizeof text, 0);
  return {text, size > 0 ? static_cast<std::size_t>(size) : 0};
}

}  // namespace Testing
