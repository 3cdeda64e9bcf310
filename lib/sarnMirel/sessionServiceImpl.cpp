#include "lib/sarnMirel/sessionServiceImpl.h"

#include <array>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/executionContext.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/unregisterMappingObject.h"
#include "lib/sarnMirel/userPassHandler.h"
#include "platform/corvane/app.h"
#include "platform/corvane/crypto.h"
#include "platform/corvane/log.h"
#include "platform/corvane/panic.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/textEscape.h"

namespace SarnMirel {
namespace {

namespace Security = Mirel::Core::Security;
using Com::Tessaly::Ombra::SessionSvc::Info;
using Corvane::Service::LogInternal;
using Mirel::Core::ReadEntry;
using Mirel::Core::SecurityContext;
using Mirel::Core::SessionSecurityContextReader;

constexpr std::int64_t kIdleTimeout = 1'800'000'000;
constexpr std::size_t kIdBytes = 20;

const SecurityContext& ContextOf(const ActivationPtr& activation) {
  return activation->executionContext()->securityContext;
}

// For the log: "{ schemeId : NAME }", or nothing when the context names no scheme.
std::string SchemeText(const SecurityContext& context) {
  if (!context.contains(Security::kSchemeIdKey)) return {};
  const auto scheme = Corvane::Detail::EscapeName(ReadEntry(context, Security::kSchemeIdKey));
  return std::string("{ ") + Security::kSchemeIdKey + " : " + scheme + " }";
}

std::string MakeApiSessionId() {
  std::array<unsigned char, kIdBytes> bytes{};
  VERIFY(CryptoRandom_GetBytes(bytes.data(), bytes.size()) == 0);
  return Corvane::StringUtil::HexEncode(bytes);
}

Corvane::SessionManager& Manager() {
  return *Corvane::Service::GetApp()->GetSessionManager();
}

}  // namespace

SessionServiceImpl::SessionServiceImpl(std::shared_ptr<SessionMapping> mapping,
                                       Corvane::Ref<Corvane::Service::Logger> logger,
                                       SessionCreatedCb sessionCreatedCb, ExpiryCbFactory expiryCbFactory)
    : mapping_(std::move(mapping)),
      sessionIdleTimeout_(kIdleTimeout),
      logger_(std::move(logger)),
      sessionCreatedCb_(std::move(sessionCreatedCb)),
      expiryCbFactory_(std::move(expiryCbFactory)) {}

SessionServiceImpl::SessionServiceImpl(std::shared_ptr<SessionMapping> mapping,
                                       Corvane::Ref<Corvane::Service::Logger> logger,
                                       ExpiryCbFactory expiryCbFactory)
    : SessionServiceImpl(std::move(mapping), std::move(logger), nullptr, std::move(expiryCbFactory)) {}

SessionServiceImpl::~SessionServiceImpl() = default;

void SessionServiceImpl::Create(const ActivationPtr& activation, const CreateResult& result) {
  if (logger_->IsEnabled(6)) {
    LogInternal(logger_.get(), 6, "Session::Create %1", SchemeText(ContextOf(activation)));
  }
  const auto session = SessionForCreate(activation);
  if (!session) {
    LogInternal(logger_.get(), 4, "Unable to find/create a valid SarnMirel session.");
    result.error(Authn::MakeUnauthenticatedError());
    return;
  }
  const auto apiSessionId = MakeApiSessionId();
  if (!mapping_->Register(apiSessionId, session->GetId())) {
    LogInternal(logger_.get(), 4, "Unable to register session. SarnMirel session limit reached.");
    session->SetAuthData(nullptr);
    result.error(Authn::MakeUnauthenticatedError());
    return;
  }
  session->AttachObject("sarnMirelSessionMapping",
                        Corvane::MakeRef<UnregisterMappingObject>(mapping_, apiSessionId));
  if (sessionCreatedCb_) sessionCreatedCb_(activation, session.get());
  if (!Manager().Add(session)) {
    // The host has no room, or the session has ended meanwhile. What is attached takes the entry out.
    LogInternal(logger_.get(), 4, "Unable to add the session to the session manager.");
    session->End();
    result.error(Authn::MakeUnauthenticatedError());
    return;
  }
  LogInternal(logger_.get(), 6, "Create Mirel session for Sarn Session id: %1", session->GetId());
  result.result(Mirel::SecretString(apiSessionId));
}

SessionRef SessionServiceImpl::SessionForCreate(const ActivationPtr& activation) const {
  const auto& context = ContextOf(activation);
  const auto ticket = context.find(Security::kSessionTicketKey);
  if (ticket != context.end() &&
      ReadEntry(context, Security::kSchemeIdKey) == Security::kSessionTicketScheme) {
    if (auto session = SessionFromTicket(ticket->second.text())) return session;
    LogInternal(logger_.get(), 4, "Unable to resolve SessionTicket to valid Corvane session.");
  }
  return FindOrCreateSession(activation, sessionIdleTimeout_, expiryCbFactory_);
}

SessionRef SessionServiceImpl::SessionFromTicket(const std::string& ticket) const {
  SessionRef original;
  SessionRef session;
  if (!Manager().ResolveCloneTicket(ticket, original)) return nullptr;
  Corvane::CreateSession(sessionIdleTimeout_, session);
  session->SetAuthData(original->GetAuthData());
  return session;
}

void SessionServiceImpl::Delete(const ActivationPtr& activation, const DeleteResult& result) {
  const auto& context = ContextOf(activation);
  const SessionSecurityContextReader reader(context);
  if (!reader) {
    LogInternal(logger_.get(), 6, "Session::Delete Invalid context");
    result.error(Authn::MakeUnauthenticatedError());
    return;
  }
  // The entry goes with the session, by what Create has attached to it.
  const auto sessionId = mapping_->Find(reader.sessionId());
  if (logger_->IsEnabled(6)) {
    LogInternal(logger_.get(), 6, "Session::Delete %1; session ID: %2", SchemeText(context), sessionId);
  }
  if (!sessionId.empty() && Manager().Remove(sessionId)) {
    result.result(Mirel::Void());
  } else {
    result.error(Authn::MakeUnauthenticatedError());
  }
}

void SessionServiceImpl::Get(const ActivationPtr& activation, const GetResult& result) {
  const SessionSecurityContextReader reader(ContextOf(activation));
  const auto sessionId = reader ? mapping_->Find(reader.sessionId()) : std::string();
  SessionRef session;
  if (sessionId.empty() || !Manager().Find(sessionId, session)) {
    result.error(Authn::MakeUnauthenticatedError());
    return;
  }
  const auto auth = session->GetAuthData();
  auto info = std::make_shared<Info>();
  if (auth) info->user = auth->GetUsername();
  info->createdTime = Mirel::DateTime::Create(session->GetCreationTime());
  info->lastAccessedTime = Mirel::DateTime::Create(session->GetLastAccessTime());
  result.result(std::move(info));
}

}  // namespace SarnMirel
