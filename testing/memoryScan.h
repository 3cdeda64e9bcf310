#pragma once

#include <sys/types.h>

#include <string_view>

namespace Testing {

// How many times the text is in the memory that the process may write: heap, stacks and static data. In
// the test's own process, what holds the text itself counts too.
int CountInMemory(pid_t process, std::string_view text);

}  // namespace Testing
