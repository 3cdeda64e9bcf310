#include "apps/nornhesperd/vsock.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <boost/system/errc.hpp>
#include <boost/system/system_error.hpp>
#include <cerrno>

#include "platform/corvane/fileDescriptor.h"

namespace {

constexpr int kUnknownFamily = -1;

int cachedFamily = kUnknownFamily;
// Open for as long as the process uses a family that came from the device.
int familyDevice = -1;

bool HasStandardFamily() {
  const int probe = socket(Krell::kStandardVsockFamily, SOCK_DGRAM, 0);
  if (probe < 0) return false;
  close(probe);
  return true;
}

[[noreturn]] void ThrowUnsupported() {
  namespace errc = boost::system::errc;
  throw boost::system::system_error(errc::make_error_code(errc::address_family_not_supported));
}

int ReadFamilyFromDevice() {
  const int device = OpenVsockDevice();
  if (device < 0) return kUnknownFamily;
  int family = kUnknownFamily;
  if (ioctl(device, Krell::kIoctlAddressFamily, &family) < 0) family = kUnknownFamily;
  if (family < 0) {
    close(device);
  } else {
    familyDevice = device;
  }
  return family;
}

}  // namespace

int GetVsockAddressFamily() {
  if (cachedFamily == kUnknownFamily) {
    cachedFamily = HasStandardFamily() ? Krell::kStandardVsockFamily : ReadFamilyFromDevice();
  }
  if (cachedFamily == kUnknownFamily) ThrowUnsupported();
  return cachedFamily;
}

int OpenVsockDevice() {
  const int device = open(Krell::kVsockDevice, O_RDONLY | O_CLOEXEC);
  if (device >= 0) return device;
  const int error = errno;
  const int alternative = open(Krell::kVsockDeviceAlternative, O_RDONLY | O_CLOEXEC);
  if (alternative < 0 && Corvane::IsShortage(error)) errno = error;
  return alternative;
}

void vsock::endpoint::resize(std::size_t size) {
  if (size > capacity()) {
    namespace errc = boost::system::errc;
    throw boost::system::system_error(errc::make_error_code(errc::invalid_argument));
  }
}
