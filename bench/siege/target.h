#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace Siege {

// Where the daemon's standard error goes: to a file, to a pipe that nobody reads, to one whose reader has
// gone.
enum class ErrorSink { File, FullPipe, BrokenPipe };

// Who checks passwords: the host as it is, services that answer at once, or a module that takes two seconds.
enum class Passwords { Host, Fast, Slow };

struct TargetOptions {
  ErrorSink sink = ErrorSink::File;
  Passwords passwords = Passwords::Host;
};

// The daemon under attack: the program of this build, on the host of Testing::SharedHost, with ports of its
// own. Its standard error is a subject of the siege, so it isn't the tests' daemon. Ended by force with the
// object.
class Target {
 public:
  // False where the host lacks what the services of passwords need.
  static bool Supports(Passwords passwords);

  explicit Target(const TargetOptions& options);
  ~Target();
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  std::uint16_t port() const { return port_; }
  std::uint32_t vmPort() const { return vmPort_; }
  pid_t pid() const { return pid_; }

  // False once it has ended; how it ended is then printed.
  bool IsRunning();
  const std::string& ending() const { return ending_; }
  // What it has written to standard error, where that's a file, and to the audit's file.
  std::uintmax_t LogBytes() const;
  std::uintmax_t AuditBytes() const;

 private:
  int OpenSink(ErrorSink sink);
  [[noreturn]] void Run(int standardError, Passwords passwords, const std::string& configFile) const;
  void WaitUntilItServes();

  std::uint16_t port_;
  std::uint32_t vmPort_;
  std::string logFile_;
  std::uintmax_t auditBefore_;
  int unread_ = -1;  // the reader's end of the pipe
  pid_t pid_ = -1;
  std::string ending_;
};

}  // namespace Siege
