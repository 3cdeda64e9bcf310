// hesper-host: starts, stops and lists the VMs of a simulated host, and makes tokens for its daemon.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>

#include "platform/corvane/textEscape.h"
#include "platform/krell/standin/host.h"
#include "tools/tokenCommand.h"

namespace {

constexpr int kUsageError = 64;

void PrintVms(const Krell::Host& host) {
  constexpr const char* format = "%-10s %-10s %-10s %-10s %-36s %-36s %s\n";
  std::printf(format, "CID", "CARTEL", "VMM", "PRIVILEGED", "BIOS-UUID", "VM-UUID", "MGR-VM-ID");
  for (const auto& vm : host.List()) {
    std::printf(format, std::to_string(vm.identity.cid).c_str(), std::to_string(vm.cartelId).c_str(),
                std::to_string(vm.leaderId).c_str(), vm.identity.privileged ? "yes" : "no",
                vm.identity.biosUuid.c_str(), vm.identity.vmUuid.c_str(), vm.identity.mgrVmId.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) try {
  CLI::App app(
      "Starts, stops and lists the VMs of the host that KRELL_HOST_DIR names, and makes tokens for its "
      "daemon.",
      "hesper-host");
  app.require_subcommand(1);
  Krell::VmIdentity vm;
  bool unprivileged = false;
  auto* add = app.add_subcommand("add", "start a VM");
  add->add_option("--cid", vm.cid, "context id, 3 or above")->required();
  add->add_option("--bios-uuid", vm.biosUuid, "BIOS uuid")->required();
  add->add_option("--vm-uuid", vm.vmUuid, "the VM's own uuid")->required();
  add->add_option("--mgr-vm-id", vm.mgrVmId, "the management server's id")->required();
  add->add_flag("--unprivileged", unprivileged, "the VM may not send to ports that ask for privilege");
  auto* remove = app.add_subcommand("remove", "stop a VM");
  remove->add_option("--cid", vm.cid, "context id")->required();
  auto* list = app.add_subcommand("list", "list the running VMs in the order in which they were started");
  const TokenCommand token(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ParseError& fault) {
    std::fprintf(stderr, "hesper-host: %s\n", fault.what());
    return kUsageError;
  }
  vm.privileged = !unprivileged;
  if (token.IsAsked()) {
    token.Run();
    return 0;
  }
  Krell::Host host = Krell::Host::FromEnvironment();
  if (add->parsed()) host.Add(vm);
  if (remove->parsed()) host.Remove(vm.cid);
  if (list->parsed()) PrintVms(host);
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-host: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return 1;
}
