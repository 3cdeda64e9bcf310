// hesper-host: starts, stops and lists the VMs of a simulated host, and makes tokens for its daemon.

#include <cstdio>
#include <exception>

#include "platform/corvane/textEscape.h"
#include "platform/krell/standin/host.h"
#include "tools/arguments.h"
#include "tools/tokenCommand.h"

namespace {

void PrintVms(const Krell::Host& host) {
  constexpr const char* kFormat = "%-10s %-10s %-10s %-10s %-36s %-36s %s\n";
  std::printf(kFormat, "CID", "CARTEL", "VMM", "PRIVILEGED", "BIOS-UUID", "VM-UUID", "MGR-VM-ID");
  for (const auto& vm : host.List()) {
    std::printf(kFormat, std::to_string(vm.identity.cid).c_str(), std::to_string(vm.cartelId).c_str(),
                std::to_string(vm.leaderId).c_str(), vm.identity.privileged ? "yes" : "no",
                vm.identity.biosUuid.c_str(), vm.identity.vmUuid.c_str(), vm.identity.mgrVmId.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) try {
  Tools::CommandLine commandLine(
      "hesper-host",
      "Starts, stops and lists the VMs of the host that KRELL_HOST_DIR names, and makes tokens for its "
      "daemon.");
  auto& top = commandLine.Top();
  Krell::VmIdentity vm;
  bool unprivileged = false;
  auto add = top.Subcommand("add", "start a VM");
  add.Value("--cid", vm.cid, "context id, 3 or above").Required();
  add.Value("--bios-uuid", vm.biosUuid, "BIOS uuid").Required();
  add.Value("--vm-uuid", vm.vmUuid, "the VM's own uuid").Required();
  add.Value("--mgr-vm-id", vm.mgrVmId, "the management server's id").Required();
  add.Flag("--unprivileged", unprivileged, "the VM may not send to ports that ask for privilege");
  auto remove = top.Subcommand("remove", "stop a VM");
  remove.Value("--cid", vm.cid, "context id").Required();
  const auto list = top.Subcommand("list", "list the running VMs in the order in which they were started");
  const Tools::TokenCommand token(top);
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  vm.privileged = !unprivileged;
  if (token.IsAsked()) {
    token.Run();
    return 0;
  }
  Krell::Host host = Krell::Host::FromEnvironment();
  if (add.IsGiven()) host.Add(vm);
  if (remove.IsGiven()) host.Remove(vm.cid);
  if (list.IsGiven()) PrintVms(host);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-host: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return 1;
}
