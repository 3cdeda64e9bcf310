#pragma once

#include <array>
#include <string>

namespace GuestAgent {

// Why something that was handed over isn't kept.
enum class Fault { Request, Topic, Permission, Size, Full, Rate };

// The words for them in answers and in the agent's figures.
inline constexpr std::array<const char*, 6> kFaultNames{"request", "topic", "permission",
                                                        "size",    "full",  "rate"};

struct Refusal {
  Fault fault;
  // For the one who handed it over.
  std::string diagnosis;
};

}  // namespace GuestAgent
