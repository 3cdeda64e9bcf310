#pragma once

#include <cstddef>
#include <cstdint>

namespace NornHesper {

// What is wrong with a publication's text: the check that it didn't pass.
enum class PublicationFault : std::uint8_t {
  None,
  Json,
  Header,  // also its sequence and subscribers
  Schema,
  Time,
  Payload,
};

inline constexpr std::size_t kPublicationFaults = 6;

}  // namespace NornHesper
