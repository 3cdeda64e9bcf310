#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "apps/nornhesperd/globalContext.h"
#include "platform/corvane/paths.h"

// The context exists once in a process and can be started once, so each start runs in a child (EXPECT_EXIT).
// These write to the fixed paths below the build tree.

inline const char kDefaults[] = "<config/>";

inline std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline std::string WriteConfig(const std::string& content) {
  const std::filesystem::path folder = NORNHESPER_SYSROOT "/tmp";
  std::filesystem::create_directories(folder);
  const std::string path = folder / ("spine-" + std::to_string(::getpid()) + ".xml");
  std::ofstream(path) << content;
  return path;
}

// Starts the context; the child's exit status is 1 with the records on standard error when that fails.
inline NornHesper::GlobalContext& StartContext(const std::string& configuration) {
  auto* context = NornHesper::GlobalContext::Get();
  const std::string path = WriteConfig(configuration);
  const auto result = context->InitializeApplication(path.c_str());
  std::filesystem::remove(path);
  if (result.HasErrors()) {
    const std::string text = result.ToString() + "\n";
    std::fputs(text.c_str(), stderr);
    ::_exit(1);
  }
  return *context;
}
