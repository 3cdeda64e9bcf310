#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/arguments.h"

namespace Tools {

// `hesper-host token`: prints, or puts into a file, a token that this host's daemon takes.
class TokenCommand {
 public:
  // Requires: this object lives as long as the command line, which keeps pointers to it.
  explicit TokenCommand(Command& top);
  TokenCommand(const TokenCommand&) = delete;
  TokenCommand& operator=(const TokenCommand&) = delete;

  // Whether the command line asks for it.
  bool IsAsked() const;
  // Throws NornToken::MintError.
  void Run() const;

 private:
  Command command_;
  std::string subject_;
  std::vector<std::string> entitlements_;
  std::int64_t expiresIn_ = 3600;
  std::string out_;
};

}  // namespace Tools
