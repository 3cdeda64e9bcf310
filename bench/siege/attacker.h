#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

#include "bench/siege/time.h"

namespace Siege {

class Target;

// Where an attack counts; shared with the process that reports.
struct Tally {
  std::atomic<std::uint64_t> done;  // whatever the scene counts
  std::atomic<std::uint64_t> held;  // the most connections held at once
  char remark[160];                 // what else was seen, at the end
};

// What an attack knows.
struct Assault {
  std::uint16_t port;
  std::uint32_t vmPort;
  Clock::time_point begin;
  Clock::time_point end;
  Tally& tally;

  bool GoesOn() const { return Clock::now() < end; }
  void Count() const { tally.done.fetch_add(1); }
  void Hold(std::size_t connections) const;
  void Remark(const std::string& text) const;
};

using Attack = void (*)(const Assault&);

// An attack in a process of its own: lowest priority, its own descriptors, and an end with its starter's.
// Made before its starter has threads; it waits until it's let go.
class Attacker {
 public:
  Attacker(Attack attack, const Target& target, seconds length);
  ~Attacker();
  Attacker(const Attacker&) = delete;
  Attacker& operator=(const Attacker&) = delete;

  void Go();
  bool HasEnded();
  // Ends it by force when it hasn't, and gives the CPU time that it took.
  double Stop();
  const Tally& tally() const { return *tally_; }

 private:
  void Run(Attack attack, const Target& target, seconds length);

  Tally* tally_;
  int gate_[2];
  pid_t pid_;
  bool ended_ = false;
  double cpuSeconds_ = 0;
};

}  // namespace Siege
