#pragma once

#include <cstdint>
#include <string>

namespace Intake {

// The text of a publication; the members are those of "header" and "payload".
std::string Text(const std::string& header, const std::string& payload);
std::string GoodText(std::uint64_t sequence, const std::string& moreHeader = "");

}  // namespace Intake
