#include "fleet/stream/peerSocket.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "platform/corvane/fileDescriptor.h"

namespace Fleet {
namespace {

// As the other end sees it.
struct Pair {
  sockaddr_in local{};
  sockaddr_in remote{};
};

Pair PeerView(int socket) {
  Pair pair;
  socklen_t localLength = sizeof pair.local;
  socklen_t remoteLength = sizeof pair.remote;
  if (getpeername(socket, reinterpret_cast<sockaddr*>(&pair.local), &localLength) != 0 ||
      getsockname(socket, reinterpret_cast<sockaddr*>(&pair.remote), &remoteLength) != 0) {
    return {};
  }
  return pair;
}

struct DiagQuestion {
  nlmsghdr head{};
  inet_diag_req_v2 body{};
};

DiagQuestion QuestionFor(const Pair& pair) {
  DiagQuestion question;
  question.head.nlmsg_len = sizeof question;
  question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.head.nlmsg_flags = NLM_F_REQUEST;
  question.body.sdiag_family = AF_INET;
  question.body.sdiag_protocol = IPPROTO_TCP;
  question.body.idiag_states = ~0U;
  question.body.id.idiag_sport = pair.local.sin_port;
  question.body.id.idiag_dport = pair.remote.sin_port;
  question.body.id.idiag_src[0] = pair.local.sin_addr.s_addr;
  question.body.id.idiag_dst[0] = pair.remote.sin_addr.s_addr;
  question.body.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
  question.body.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

// Nothing also when this kernel has nobody who answers: it gives the same error.
std::optional<PeerSocket> AskNetlink(const Pair& pair) {
  const Corvane::FileDescriptor netlink(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (!netlink.IsOpen()) return std::nullopt;
  const timeval patience{1, 0};
  setsockopt(netlink.Get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  const auto question = QuestionFor(pair);
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (sendto(netlink.Get(), &question, sizeof question, 0, reinterpret_cast<const sockaddr*>(&kernel),
             sizeof kernel) < 0) {
    return std::nullopt;
  }
  alignas(nlmsghdr) std::array<char, 4096> answer{};
  sockaddr_nl sender{};
  socklen_t senderLength = sizeof sender;
  const ssize_t size = recvfrom(netlink.Get(), answer.data(), answer.size(), 0,
                                reinterpret_cast<sockaddr*>(&sender), &senderLength);
  nlmsghdr head{};
  inet_diag_msg body{};
  if (size < static_cast<ssize_t>(NLMSG_LENGTH(sizeof body)) || sender.nl_pid != 0) return std::nullopt;
  std::memcpy(&head, answer.data(), sizeof head);
  if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY) return std::nullopt;
  std::memcpy(&body, answer.data() + NLMSG_HDRLEN, sizeof body);
  // Where no such connection is, a listener of that port may be found.
  if (body.idiag_state != TCP_ESTABLISHED || body.id.idiag_dport != pair.remote.sin_port) return std::nullopt;
  return PeerSocket{body.idiag_inode != 0, body.idiag_uid};
}

std::string ProcName(const sockaddr_in& address) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "%08X:%04X", address.sin_addr.s_addr, ntohs(address.sin_port));
  return text.data();
}

// The same from a table of all connections, for where netlink isn't to be had: under a seccomp filter, or
// with a kernel that lacks that module.
std::optional<PeerSocket> AskProc(const Pair& pair) {
  std::ifstream table("/proc/net/tcp");
  std::string line;
  if (!std::getline(table, line)) {
    throw std::runtime_error("the kernel doesn't tell whose the other end of a connection is");
  }
  const auto local = ProcName(pair.local);
  const auto remote = ProcName(pair.remote);
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string number, itsLocal, itsRemote, state, queues, timer, retransmits, timeout;
    uid_t user = 0;
    std::uint64_t inode = 0;
    fields >> number >> itsLocal >> itsRemote >> state >> queues >> timer >> retransmits >> user >> timeout >>
        inode;
    if (fields && itsLocal == local && itsRemote == remote && state == "01") {
      return PeerSocket{inode != 0, user};
    }
  }
  return std::nullopt;
}

std::optional<PeerSocket> Ask(const Pair& pair) {
  const auto peer = AskNetlink(pair);
  return peer ? peer : AskProc(pair);
}

}  // namespace

std::optional<PeerSocket> FindPeer(int socket) {
  const auto pair = PeerView(socket);
  const auto peer = Ask(pair);
  // The kernel reads the user before the sign that somebody has accepted. Only what is asked after that sign
  // is that somebody's.
  return peer && peer->accepted ? Ask(pair) : peer;
}

}  // namespace Fleet
