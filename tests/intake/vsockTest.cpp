#include "apps/nornhesperd/vsock.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <boost/system/system_error.hpp>
#include <cstdlib>

#include "tests/intake/intakeEnvironment.h"

// The family is found once in a process: each case has a process of its own.
namespace {

using Intake::TestHost;
using testing::ExitedWithCode;

int CodeOfFailure() {
  try {
    return -GetVsockAddressFamily();
  } catch (const boost::system::system_error& error) {
    return error.code().value();
  }
}

[[noreturn]] void Check(bool good) {
  std::_Exit(good ? 0 : 1);
}

TEST(VsockDeathTest, StandardFamilyNeedsNoDevice) {
  EXPECT_EXIT(
      {
        const TestHost host("open EACCES\n");
        Check(GetVsockAddressFamily() == 40 && GetVsockAddressFamily() == 40);
      },
      ExitedWithCode(0), "");
}

TEST(VsockDeathTest, DeviceStaysOpenForTheFamily) {
  EXPECT_EXIT(
      {
        const TestHost host("family device\n");
        const int family = GetVsockAddressFamily();
        // The kernel knows the family only as long as somebody has the device open.
        const int probe = socket(family, SOCK_DGRAM, 0);
        Check(family != 40 && probe >= 0 && GetVsockAddressFamily() == family);
      },
      ExitedWithCode(0), "");
}

TEST(VsockDeathTest, WithoutFamilyEveryCallThrows) {
  for (const char* faults :
       {"family none\n", "family device\nopen EACCES\n", "family device\nioctl 1976 EIO\n"}) {
    EXPECT_EXIT(
        {
          const TestHost host(faults);
          Check(CodeOfFailure() == EAFNOSUPPORT && CodeOfFailure() == EAFNOSUPPORT);
        },
        ExitedWithCode(0), "")
        << faults;
  }
}

TEST(VsockDeathTest, EveryCallAsksTheKernelAnewUntilThereIsAFamily) {
  EXPECT_EXIT(
      {
        const TestHost host("family device\nioctl 1976 EIO 1\n");
        Check(CodeOfFailure() == EAFNOSUPPORT && GetVsockAddressFamily() > 0);
      },
      ExitedWithCode(0), "");
}

TEST(VsockTest, EndpointRefusesLongerAddresses) {
  const TestHost host;
  vsock::endpoint endpoint(5, 7777);
  EXPECT_NO_THROW(endpoint.resize(16));
  EXPECT_THROW(endpoint.resize(17), boost::system::system_error);
}

}  // namespace
