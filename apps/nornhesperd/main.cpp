#include "apps/nornhesperd/backend.h"
#include "apps/nornhesperd/configInfo.h"
#include "apps/nornhesperd/endpoint.h"
#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"
#include "apps/nornhesperd/signalChecker.h"

// nornhesperd [CONFIG_FILE]: brings up the guest side, then the API side, and runs the I/O context for the
// rest of the process's life.
int main(int argc, char** argv) {
  auto* context = NornHesper::GlobalContext::Get();
  const auto result = context->InitializeApplication(argc > 1 ? argv[1] : nullptr);
  if (result.HasErrors()) {
    HESPER_LOG(6, "Nornhesperd failed to initialize, %1", result.ToString());
    return 1;
  }

  const auto mirelPort = context->GetConfigInfo().GetMirelPort();
  const auto vmListenPort = context->GetConfigInfo().GetVmListenPort();
  HESPER_LOG(6, "Starting NORN guest data publisher, MIREL port: %1, VM listen port: %2", mirelPort,
             vmListenPort);

  const auto backend = Corvane::MakeRef<NornHesper::Backend>(static_cast<unsigned>(vmListenPort));
  backend->Start();

  NornHesper::NornHesperApi api(static_cast<std::uint16_t>(mirelPort));
  api.Start();

  const auto signalChecker = Corvane::MakeRef<NornHesper::SignalChecker>();
  signalChecker->WaitForSignal();

  context->RunIoService();
  context->TerminateApplication();
}
