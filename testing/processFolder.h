#pragma once

#include <string>

namespace Testing {

// The folder of this test process's files; removed at its end.
const std::string& ProcessFolder();

}  // namespace Testing
