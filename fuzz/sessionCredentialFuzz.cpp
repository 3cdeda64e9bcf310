// Security contexts of hostile clients, at the session service and the handlers in front of it. One session
// is there, which nobody but its owner may reach.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "lib/sarnMirel/refValue.h"
#include "lib/sarnMirel/samlHokHandler.h"
#include "lib/sarnMirel/sessionHandler.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "platform/corvane/app.h"
#include "platform/corvane/authenticate.h"
#include "platform/corvane/xml/key.h"

namespace {

using namespace SarnMirel;
using Mirel::Data::DataType;
using Mirel::Data::DataValue;
namespace Security = Mirel::Core::Security;

void Require(bool condition) {
  if (!condition) std::abort();
}

void StartApplication() {
  char config[] = "/tmp/norn-fuzz.XXXXXX";
  const int file = mkstemp(config);
  constexpr std::string_view kText = "<config><log><level>3</level></log></config>";
  Require(write(file, kText.data(), kText.size()) == static_cast<ssize_t>(kText.size()));
  close(file);
  Corvane::Service::InitApp(config);
  unlink(config);
}

struct Bridge {
  Bridge() {
    StartApplication();
    const auto login = Mirel::Data::StructValue::GetInstance("");
    login->SetField("username", DataValue::Create("owner"));
    login->SetField("authTokenHelper", std::make_shared<const RefValue<Corvane::System::AuthTokenHelper>>(
                                           Corvane::MakeRef<Corvane::System::AuthTokenHelper>("owner")));
    auto activation =
        Mirel::Core::AsyncActivation::GetInstance(std::make_shared<const Mirel::Core::ExecutionContext>());
    activation->authData(login);
    SessionServiceImpl::CreateResult::ResultCb callbacks;
    callbacks.first = [this](const auto& value, const auto&, const auto&) {
      Require(value.has_value());
      apiSessionId = value->text();
    };
    service.Create(activation, SessionServiceImpl::CreateResult(std::move(callbacks)));
    sessionId = mapping->Find(apiSessionId);
  }

  std::shared_ptr<SessionMapping> mapping = std::make_shared<SessionMapping>(1);
  Corvane::Ref<Corvane::Service::Logger> logger = Corvane::Service::Logger::Create({.level = 3});
  SessionServiceImpl service{mapping, logger, nullptr};
  Authn::SessionHandler sessions{mapping, logger, nullptr};
  Authn::SamlHokHandler tokens{
      [](const auto&) -> Corvane::Ref<Corvane::Xml::Security::Key> { return nullptr; }, logger, nullptr,
      [] { return true; }};
  std::string apiSessionId;
  std::string sessionId;
};

// Lines "KEY VALUE". A dollar sign at the start of a value stands for the owner's identifier, so that the
// fuzzer can bend a real one.
std::shared_ptr<Mirel::Core::AsyncActivation> Read(std::string_view text, const Bridge& bridge, bool& owner) {
  auto context = std::make_shared<Mirel::Core::ExecutionContext>();
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const auto line = text.substr(0, end);
    const auto blank = std::min(line.find(' '), line.size());
    auto value = std::string(line.substr(std::min(blank + 1, line.size())));
    if (value.starts_with('$')) value.replace(0, 1, bridge.apiSessionId);
    context->securityContext.emplace(line.substr(0, blank), Mirel::Core::SecurityContextWrappedEntry(value));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  owner =
      Mirel::Core::ReadEntry(context->securityContext, Security::kSchemeIdKey) == Security::kSessionScheme &&
      Mirel::Core::ReadEntry(context->securityContext, Security::kSessionIdKey) == bridge.apiSessionId;
  return Mirel::Core::AsyncActivation::GetInstance(std::move(context));
}

// Whether the handler lets the caller in.
bool LetsIn(Mirel::Authn::AuthnHandler& handler,
            const std::shared_ptr<Mirel::Core::AsyncActivation>& activation) {
  int answers = 0;
  bool in = false;
  handler.AsyncAuthenticate(activation, [&](const auto& value) {
    ++answers;
    in = value && value->type() == DataType::Structure;
    Require(!value || in || value->type() == DataType::Error);
  });
  Require(answers == 1);
  return in;
}

template <typename Result, typename Operation>
bool Succeeds(Bridge& bridge, Operation operation,
              const std::shared_ptr<Mirel::Core::AsyncActivation>& activation) {
  int answers = 0;
  bool good = false;
  typename Result::ResultCb callbacks;
  callbacks.first = [&](const auto& value, const auto& error, const auto&) {
    ++answers;
    good = value.has_value();
    Require(good == !error);
  };
  (bridge.service.*operation)(activation, Result(std::move(callbacks)));
  Require(answers == 1);
  return good;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static auto& bridge = *new Bridge;
  bool owner = false;
  const std::string text(data, data + size);
  const auto activation = Read(text, bridge, owner);
  Require(!LetsIn(bridge.tokens, activation));
  Require(LetsIn(bridge.sessions, activation) == owner);
  Require(Succeeds<SessionServiceImpl::GetResult>(bridge, &SessionServiceImpl::Get, activation) == owner);
  Require(!Succeeds<SessionServiceImpl::CreateResult>(bridge, &SessionServiceImpl::Create, activation));
  if (!owner) {
    Require(!Succeeds<SessionServiceImpl::DeleteResult>(bridge, &SessionServiceImpl::Delete, activation));
  }
  Require(bridge.mapping->Find(bridge.apiSessionId) == bridge.sessionId);
  return 0;
}
