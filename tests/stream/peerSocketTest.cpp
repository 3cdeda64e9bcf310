#include "fleet/stream/peerSocket.h"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/netlink.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <optional>

#include "testing/eventually.h"
#include "tests/stream/listenerDouble.h"

namespace {

using namespace Testing;

Corvane::FileDescriptor ConnectTo(const ListeningPort& listening) {
  Corvane::FileDescriptor connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(listening.number());
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::runtime_error("cannot connect");
  }
  return connection;
}

// What becomes of a connection, as the kernel tells it. True if all of it is right.
bool IsFollowedToItsEnd() {
  const ListeningPort listening;
  const auto connection = ConnectTo(listening);
  const auto waiting = Fleet::FindPeer(connection.Get());
  EXPECT_TRUE(waiting && !waiting->accepted);
  std::optional<Corvane::FileDescriptor> accepted = listening.Accept();
  const auto taken = Fleet::FindPeer(connection.Get());
  EXPECT_TRUE(taken && taken->accepted && taken->user == geteuid());
  accepted.reset();
  EXPECT_FALSE(Fleet::FindPeer(connection.Get()));
  return !testing::Test::HasFailure();
}

// From now on this process has no netlink.
void ForbidNetlink() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_socket, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, AF_NETLINK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EAFNOSUPPORT),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog filter{std::size(program), program};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0 ||
      socket(AF_NETLINK, SOCK_RAW, NETLINK_SOCK_DIAG) >= 0) {
    _exit(2);
  }
}

TEST(PeerSocketTest, IsNobodysUntilItIsAccepted) {
  EXPECT_TRUE(IsFollowedToItsEnd());
}

TEST(PeerSocketDeathTest, IsFoundWithoutNetlink) {
  EXPECT_EXIT(
      {
        ForbidNetlink();
        _exit(IsFollowedToItsEnd() ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

}  // namespace
