#include "platform/krell/standin/faults.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <string_view>
#include <utility>

namespace Krell {
namespace {

constexpr std::pair<const char*, int> kErrors[] = {{"EACCES", EACCES},
                                                   {"EADDRINUSE", EADDRINUSE},
                                                   {"EADDRNOTAVAIL", EADDRNOTAVAIL},
                                                   {"EAFNOSUPPORT", EAFNOSUPPORT},
                                                   {"EAGAIN", EAGAIN},
                                                   {"ECONNREFUSED", ECONNREFUSED},
                                                   {"ECONNRESET", ECONNRESET},
                                                   {"EINTR", EINTR},
                                                   {"EINVAL", EINVAL},
                                                   {"EIO", EIO},
                                                   {"EMFILE", EMFILE},
                                                   {"ENETDOWN", ENETDOWN},
                                                   {"ENFILE", ENFILE},
                                                   {"ENOBUFS", ENOBUFS},
                                                   {"ENODEV", ENODEV},
                                                   {"ENOENT", ENOENT},
                                                   {"ENOMEM", ENOMEM},
                                                   {"ENOPROTOOPT", ENOPROTOOPT},
                                                   {"ENOTCONN", ENOTCONN},
                                                   {"EPERM", EPERM}};

constexpr std::string_view kPlainCalls[] = {"socket", "open", "bind", "connect", "recvmsg", "sendmsg"};
constexpr std::string_view kOptionCalls[] = {"setsockopt", "getsockopt", "ioctl"};

int ErrorNumber(const std::string& name) {
  for (const auto& [known, value] : kErrors) {
    if (name == known) return value;
  }
  return 0;
}

template <typename Names>
bool Contains(const Names& names, const std::string& name) {
  for (const std::string_view known : names) {
    if (known == name) return true;
  }
  return false;
}

bool ReadOption(std::istream& words, unsigned long& option) {
  std::string word;
  if (!(words >> word)) return false;
  if (word == "SO_RCVBUF") {
    option = kReceiveBufferOption;
    return true;
  }
  std::istringstream number(word);
  return static_cast<bool>(number >> option) && number.eof();
}

bool AtEnd(std::istream& words) {
  return (words >> std::ws).eof();
}

std::string ReadFile(int directory, const char* name) {
  std::string text;
  const int fd = openat(directory, name, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return text;
  char part[4096];
  ssize_t size = 0;
  while ((size = read(fd, part, sizeof part)) > 0) text.append(part, static_cast<std::size_t>(size));
  close(fd);
  return text;
}

}  // namespace

Faults::Faults(int directory) {
  std::istringstream file(ReadFile(directory, "faults"));
  for (std::string line; std::getline(file, line);) {
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') continue;
    if (!ParseLine(line)) std::fprintf(stderr, "krell: faults: cannot read line \"%s\"\n", line.c_str());
  }
  if (applies_) return;
  family_ = Family::Standard;
  options_.clear();
  calls_.clear();
}

bool Faults::ParseLine(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  words >> word;
  if (word == "program") {
    if (!(words >> word)) return false;
    applies_ = word == program_invocation_short_name;
    return AtEnd(words);
  }
  if (word == "family") {
    words >> word;
    if (word == "device") {
      family_ = Family::Device;
    } else if (word == "none") {
      family_ = Family::None;
    } else if (word != "standard") {
      return false;
    }
    return AtEnd(words);
  }
  if (word == "option") {
    OptionFault fault{};
    std::string what;
    long value = 0;
    if (!ReadOption(words, fault.option) || !(words >> what >> value) || !AtEnd(words)) return false;
    if (what == "sticks-at") {
      fault.value = static_cast<std::int32_t>(value);
    } else if (what == "size") {
      fault.size = static_cast<unsigned>(value);
    } else {
      return false;
    }
    options_.push_back(fault);
    return true;
  }
  CallFault fault{word, 0, 0, -1};
  if (Contains(kOptionCalls, word)) {
    if (!ReadOption(words, fault.option)) return false;
  } else if (!Contains(kPlainCalls, word)) {
    return false;
  }
  if (!(words >> word)) return false;
  fault.error = ErrorNumber(word);
  if (!AtEnd(words) && !(words >> fault.remaining && fault.remaining > 0 && AtEnd(words))) return false;
  if (fault.error == 0) return false;
  calls_.push_back(std::move(fault));
  return true;
}

int Faults::Next(const char* call, unsigned long option) {
  const Corvane::MutexLock guard(mutex_);
  for (CallFault& fault : calls_) {
    if (fault.option != option || fault.remaining == 0 || fault.call != call) continue;
    if (fault.remaining > 0) --fault.remaining;
    return fault.error;
  }
  return 0;
}

std::optional<std::int32_t> Faults::StuckValue(unsigned long option) const {
  for (const OptionFault& fault : options_) {
    if (fault.option == option && fault.value) return fault.value;
  }
  return std::nullopt;
}

std::optional<unsigned> Faults::ReportedSize(unsigned long option) const {
  for (const OptionFault& fault : options_) {
    if (fault.option == option && fault.size) return fault.size;
  }
  return std::nullopt;
}

}  // namespace Krell
