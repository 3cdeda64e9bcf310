#include "bench/siege/attacker.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include "bench/siege/target.h"

namespace Siege {
namespace {

constexpr int kLowestPriority = 19;

void RaiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

Tally* MakeSharedTally() {
  void* memory = mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::runtime_error("no shared memory");
  return new (memory) Tally{};
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

void Assault::Hold(std::size_t connections) const {
  if (connections > tally.held) tally.held = connections;
}

void Assault::Remark(const std::string& text) const {
  std::strncpy(tally.remark, text.c_str(), sizeof tally.remark - 1);
}

Attacker::Attacker(Attack attack, const Target& target, seconds length) : tally_(MakeSharedTally()) {
  if (pipe2(gate_, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  pid_ = fork();
  if (pid_ == 0) Run(attack, target, length);
}

Attacker::~Attacker() {
  Stop();
  close(gate_[0]);
  close(gate_[1]);
  munmap(tally_, sizeof(Tally));
}

// Leaves by _exit: the folder of the host and its VMs are the starter's.
void Attacker::Run(Attack attack, const Target& target, seconds length) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  setpriority(PRIO_PROCESS, 0, kLowestPriority);
  RaiseDescriptorLimit();
  char go = 0;
  if (read(gate_[0], &go, 1) != 1) _exit(1);
  const auto begin = Clock::now();
  const Assault assault{target.port(), target.vmPort(), begin, begin + length, *tally_};
  try {
    attack(assault);
  } catch (const std::exception& fault) {
    assault.Remark(std::string("the attack broke off: ") + fault.what());
  }
  _exit(0);
}

void Attacker::Go() {
  if (write(gate_[1], "g", 1) != 1) throw std::runtime_error("the attacker has gone");
}

bool Attacker::HasEnded() {
  rusage usage{};
  if (!ended_ && wait4(pid_, nullptr, WNOHANG, &usage) == pid_) {
    ended_ = true;
    cpuSeconds_ = Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
  }
  return ended_;
}

double Attacker::Stop() {
  if (!HasEnded()) {
    kill(pid_, SIGKILL);
    while (!HasEnded()) Sleep(milliseconds(1));
  }
  return cpuSeconds_;
}

}  // namespace Siege
