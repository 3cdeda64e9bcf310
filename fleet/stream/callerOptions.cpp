#include "fleet/stream/callerOptions.h"

namespace Fleet {

Tools::Option AddCallerOptions(Tools::Command& command, Caller& caller, std::string& vmIdType) {
  command.Value("--port", caller.port, "the daemon's API port on the loopback address")
      .Within(1U, 65535U)
      .ShowDefault();
  command.Value("--vm-id-type", vmIdType, "the kind of identifier that VMs are named by")
      .OneOf({"mgr", "bios", "vm"})
      .ShowDefault();
  const auto token =
      command.Value("--token-file", caller.tokenFile, "a file that holds a token").ExistingFile();
  auto user = command.Value("--user", caller.user, "user name").Excludes(token);
  const auto password =
      command.Value("--password-file", caller.passwordFile, "a file that holds the password")
          .ExistingFile()
          .Needs(user);
  user.Needs(password);
  return token;
}

}  // namespace Fleet
