// hesper-host: the registry of a host's VMs, and a maker of tokens for its daemon.

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>

#include "platform/corvane/textEscape.h"
#include "platform/krell/standin/host.h"
#include "platform/krell/vsockAddress.h"
#include "tools/arguments.h"
#include "tools/host/libvirtHook.h"
#include "tools/host/qmpImport.h"
#include "tools/host/registration.h"
#include "tools/host/tokenCommand.h"
#include "tools/host/vmTable.h"

namespace {

using Krell::VmTransport;

// `hesper-host add`.
class AddCommand {
 public:
  explicit AddCommand(Tools::Command& top) : command_(top.Subcommand("add", "start a VM")) {
    const auto cidOption =
        command_.Value("--cid", vm_.cid, "context id, 3 or above").Within(3U, Krell::kAnyCid - 1);
    command_.Value("--bios-uuid", vm_.biosUuid, "BIOS uuid").Required();
    command_.Value("--vm-uuid", vm_.vmUuid, "the VM's own uuid").Required();
    command_.Value("--mgr-vm-id", vm_.mgrVmId, "the management server's id").Required();
    const auto hybrid = command_.Value("--hybrid", hybrid_, "the AF_UNIX socket of a VMM with hybrid vsock");
    auto serial =
        command_.Value("--serial", serial_, "the AF_UNIX sockets of the VM's two ports, as PUBLISH,HISTORY");
    serial.Excludes(hybrid);
    auto unprivileged =
        command_.Flag("--unprivileged", unprivileged_, "the VM may not send to ports that ask for privilege");
    command_
        .Flag("--privileged", privileged_,
              "all programs of the VM count as privileged (with --hybrid, which can't tell them apart)")
        .Needs(hybrid)
        .Excludes(unprivileged);
    command_.OnParsed([this, cidOption, hybrid, serial] {
      if (!cidOption.IsGiven() && !hybrid.IsGiven() && !serial.IsGiven()) {
        throw Tools::UsageFault("--cid is required without --hybrid and --serial");
      }
      Complete();
    });
  }
  AddCommand(const AddCommand&) = delete;
  AddCommand& operator=(const AddCommand&) = delete;

  bool IsAsked() const { return command_.IsGiven(); }

  // Prints the cid if it wasn't given.
  void Run(Krell::Host& host) const {
    const auto vm = host.Add(vm_);
    if (vm_.cid == 0) std::printf("%u\n", vm.identity.cid);
  }

 private:
  void Complete() {
    vm_.privileged = hybrid_.empty() ? !unprivileged_ : privileged_;
    if (!hybrid_.empty()) vm_.transport = {VmTransport::Kind::Hybrid, hybrid_};
    if (serial_.empty()) return;
    const auto comma = serial_.find(',');
    if (comma == std::string::npos || serial_.find(',', comma + 1) != std::string::npos) {
      throw Tools::UsageFault("--serial takes two paths with a comma between them");
    }
    vm_.transport = {VmTransport::Kind::Serial, serial_.substr(0, comma), serial_.substr(comma + 1)};
  }

  Tools::Command command_;
  Krell::VmIdentity vm_;
  std::string hybrid_;
  std::string serial_;
  bool unprivileged_ = false;
  bool privileged_ = false;
};

}  // namespace

int main(int argc, char** argv) try {
  Tools::CommandLine commandLine(
      "hesper-host",
      "The registry of the VMs of a host: the one that KRELL_HOST_DIR names, or else "
      "this machine. It also makes tokens for the host's daemon.");
  auto& top = commandLine.Top();
  AddCommand add(top);
  std::uint32_t cid = 0;
  auto remove = top.Subcommand("remove", "stop a VM");
  remove.Value("--cid", cid, "context id").Required();
  const auto list = top.Subcommand("list", "list the running VMs in the order in which they were started");
  std::string qmpSocket;
  auto import = top.Subcommand("import", "register the VM that a QEMU runs");
  import.Value("--qmp", qmpSocket, "QEMU's QMP socket").Required();
  Tools::LibvirtHook hook;
  auto hookCommand = top.Subcommand("hook", "what libvirt calls, with a domain's XML on standard input");
  hookCommand.Value("NAME", hook.domain, "the domain").Required();
  hookCommand.Value("OPERATION", hook.operation, "what happens to it").Required();
  hookCommand.Value("SUBOPERATION", hook.subOperation, "at which moment").Required();
  hookCommand.Value("EXTRA", hook.extra, "not used").Required();
  const Tools::TokenCommand token(top);
  if (const auto status = commandLine.Parse(argc, argv)) {
    // A hook that fails stops the domain: what was wrong with the call has been said.
    return argc > 1 && std::string_view(argv[1]) == "hook" ? 0 : *status;
  }
  if (token.IsAsked()) {
    token.Run();
    return 0;
  }
  if (hookCommand.IsGiven()) {
    hook.Run();
    return 0;
  }
  Krell::Host host = Krell::Host::OfThisMachine();
  if (add.IsAsked()) add.Run(host);
  if (remove.IsGiven()) host.Remove(cid);
  if (list.IsGiven()) Tools::PrintVms(host);
  if (import.IsGiven()) std::printf("%u\n", Tools::Register(host, Tools::AskQemu(qmpSocket)));
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "hesper-host: %s\n", Corvane::Detail::EscapeLine(error.what()).c_str());
  return 1;
}
