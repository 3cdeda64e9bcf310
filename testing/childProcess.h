#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

// A program as a process of its own, whose standard error is kept. Ended by force with the object.
class ChildProcess {
 public:
  // The program's path and its arguments, and more variables as "NAME=value".
  explicit ChildProcess(std::vector<std::string> command, const std::vector<std::string>& environment = {});
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t pid() const { return pid_; }
  std::string Log() const;
  // How often the text is in the log.
  std::size_t Logged(std::string_view text) const;
  // False when that doesn't happen in time.
  bool WaitForLog(std::string_view text, std::size_t times = 1) const;
  bool IsRunning();
  void Signal(int number) const;
  // Waits for the end and gives the exit status, or -(the number of the signal that ended it).
  int Wait();

  std::size_t ResidentBytes() const;
  std::size_t Descriptors() const;

 private:
  std::string logFile_;
  pid_t pid_ = -1;
};

}  // namespace Testing
