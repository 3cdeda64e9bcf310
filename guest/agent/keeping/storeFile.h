#pragma once

#include <memory>
#include <string>

#include "guest/agent/keeping/database.h"

namespace GuestAgent {

// The file at the path, which is made if it is missing, as is its folder. Both are for their owner alone
// then. The folder may be reached over a link, the file may be none. Throws DatabaseError.
std::unique_ptr<Database> OpenForWriting(const std::string& path);

// What can be read of it where nothing can be written, or nothing.
std::unique_ptr<Database> OpenForReading(const std::string& path);

// Renames the file to `path` with ".broken" behind it, in place of an older one. Throws DatabaseError.
// Requires: nobody has it open.
void SetAside(const std::string& path);

}  // namespace GuestAgent
