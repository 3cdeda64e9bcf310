#pragma once

#include <string_view>

// The bytes of page/, put here by the build (embed.cmake).
namespace Fleet::PageFiles {

extern const std::string_view kIndexHtml;
extern const std::string_view kPageCss;
extern const std::string_view kPageJs;

}  // namespace Fleet::PageFiles
