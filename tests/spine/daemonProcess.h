#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

#include "apps/nornhesperd/globalContext.h"
#include "tests/corvane/temporaryFolder.h"

// Starts the context with the given settings. It exists once in a process and can be started once, so each
// start runs in a child (EXPECT_EXIT), which ends with status 1 and the records on standard error when it
// fails. The pid file and the early log lie below the build tree.
inline NornHesper::GlobalContext& StartContext(const std::string& settings = "") {
  auto* context = NornHesper::GlobalContext::Get();
  auto folder = std::make_unique<TemporaryFolder>();
  const auto path = folder->Write("config.xml", "<config>" + settings + "</config>");
  const auto result = context->InitializeApplication(path.c_str());
  folder.reset();
  if (result.HasErrors()) {
    std::cerr << result.ToString() << std::endl;
    std::_Exit(1);
  }
  return *context;
}
