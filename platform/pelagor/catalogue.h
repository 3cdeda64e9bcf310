#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace Pelagor {

// From message ids to texts.
using Catalogue = std::map<std::string, std::string>;

// Reads one JSON object from ids to texts. Throws Corvane::Exception with file and reason.
Catalogue ReadCatalogue(const std::filesystem::path& file);

}  // namespace Pelagor
