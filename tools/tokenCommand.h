#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/arguments.h"

namespace Tools {

// `hesper-host token`: prints, or puts into a file, a token that this host's daemon takes.
class TokenCommand {
 public:
  // The command line keeps pointers to this object, which has to live as long.
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
