#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace CLI {
class App;
}

// `hesper-host token`: prints, or puts into a file, a token that this host's daemon takes.
class TokenCommand {
 public:
  // Keeps pointers to this object, which has to live as long as the app.
  explicit TokenCommand(CLI::App& app);
  TokenCommand(const TokenCommand&) = delete;
  TokenCommand& operator=(const TokenCommand&) = delete;

  // Whether the command line asks for it.
  bool IsAsked() const;
  // Throws NornToken::MintError.
  void Run() const;

 private:
  CLI::App* command_;
  std::string subject_;
  std::vector<std::string> entitlements_;
  std::int64_t expiresIn_ = 3600;
  std::string out_;
};
