#include "apps/nornhesperd/vsock.h"

#include <gtest/gtest.h>

#include <boost/system/system_error.hpp>
#include <cstdlib>

#include "testing/testHost.h"

namespace {

// Gives the family, or the negative error.
int Family() {
  try {
    return GetVsockAddressFamily();
  } catch (const boost::system::system_error& error) {
    return -error.code().value();
  }
}

// The kernel knows the device's family only as long as somebody has the device open.
bool CanBeUsed(int family) {
  return socket(family, SOCK_DGRAM, 0) >= 0;
}

// The family is found once in a process, so that each case has a process of its own.
TEST(VsockDeathTest, FindsTheFamilyOnce) {
  const std::tuple<const char*, int, int> cases[] = {{"open EACCES\n", 40, 40},
                                                     {"family device\n", 53, 53},
                                                     {"family device\nioctl 1976 EIO 1\n", -97, 53},
                                                     {"family device\nopen EACCES\n", -97, -97},
                                                     {"family none\n", -97, -97}};
  for (const auto& [faults, first, second] : cases) {
    const Testing::DeathTestHost host(faults);
    EXPECT_EXIT(
        {
          const bool good = Family() == first && Family() == second && (second < 0 || CanBeUsed(second));
          std::_Exit(good ? 0 : 1);
        },
        testing::ExitedWithCode(0), "")
        << faults;
  }
}

}  // namespace
