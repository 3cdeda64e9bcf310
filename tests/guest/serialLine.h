#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "guest/wire/framing.h"
#include "platform/corvane/fileDescriptor.h"

namespace Testing {

inline constexpr int kPatienceMs = 20'000;

// The host's end of a terminal that stands for a virtio-serial port: a device to which bytes come as it
// likes.
class SerialLine {
 public:
  SerialLine();

  // The guest's end.
  const char* Device() const { return device_.c_str(); }
  void Write(std::string_view bytes) const;
  // As frames.
  void Send(std::initializer_list<std::string_view> texts) const;
  // The next text of the guest; nothing if none comes.
  std::optional<std::string> Receive();
  void HangUp() { host_ = {}; }

 private:
  Corvane::FileDescriptor host_;
  std::string device_;
  // Without it, the host's end reports an error while no guest has the line.
  Corvane::FileDescriptor guest_;
  Wire::CobsFraming framing_;
  std::string unread_;
};

// While it lives, all lines are as a virtio-serial port whose host is gone: they read as ended, take nothing,
// and tell of a hang-up.
class HostAbsence {
 public:
  HostAbsence();
  HostAbsence(const HostAbsence&) = delete;
  HostAbsence& operator=(const HostAbsence&) = delete;
  ~HostAbsence();

  // Returns when a guest has found nobody that many times.
  static void AwaitLooks(int count);
};

// Whether the descriptor is readable within the time.
bool IsReadable(int descriptor, int timeout = kPatienceMs);

}  // namespace Testing
