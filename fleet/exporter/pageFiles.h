#pragma once

#include <span>
#include <string_view>

namespace Fleet {

struct PageFile {
  std::string_view name;
  std::string_view content;
};

// The files of page/, put here by the build (embed.cmake).
std::span<const PageFile> PageFiles();

}  // namespace Fleet
