#include "lib/sarnMirel/sessionLeaseFilter.h"

#include <atomic>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "framework/core/log.h"
#include "lib/sarnMirel/genUnauthenticated.h"
#include "lib/sarnMirel/sessionFunctions.h"
#include "platform/corvane/session.h"
#include "platform/corvane/textEscape.h"

namespace SarnMirel::Filter {

using Mirel::Log::SeverityLevel;

// One call's lease, shared by the copies of its callback. Each report gives back a lease; when the last copy
// dies without any report, that gives it back.
class SessionLeaseFilter::Lease {
 public:
  Lease(SessionRef session, std::shared_ptr<Mirel::Log::Logger> logger)
      : session_(std::move(session)), logger_(std::move(logger)) {}
  Lease(const Lease&) = delete;
  Lease& operator=(const Lease&) = delete;
  ~Lease() {
    if (!reported_) session_->RemoveLease();
  }

  void GiveBack() {
    reported_ = true;
    Mirel::Log::Write(logger_, SeverityLevel::Trace, "operator()",
                      ": RemoveLease. sessionID : ", session_->GetId());
    session_->RemoveLease();
  }

 private:
  const SessionRef session_;
  const std::shared_ptr<Mirel::Log::Logger> logger_;
  std::atomic<bool> reported_{false};
};

SessionLeaseFilter::SessionLeaseFilter(Executor executor, std::shared_ptr<Mirel::Core::AsyncApiProvider> next,
                                       std::shared_ptr<Mirel::Log::Logger> logger)
    : executor_(std::move(executor)), next_(std::move(next)), logger_(std::move(logger)) {}

std::string SessionLeaseFilter::ToString() const {
  return "SessionLeaseFilter";
}

void SessionLeaseFilter::Invoke(const std::shared_ptr<const Mirel::Core::MethodIdentifier>& method,
                                const std::shared_ptr<const Mirel::Data::DataValue>& input,
                                const std::shared_ptr<Mirel::Core::AsyncActivation>& activation,
                                const Mirel::Core::AsyncApiResultCb& result) {
  Mirel::Log::Write(logger_, SeverityLevel::Trace, "Invoke",
                    ": method: ", Corvane::Detail::EscapeName(method->ToString()));
  const auto session = SessionFromActivation(activation);
  if (!session) {
    Mirel::Log::Write(logger_, SeverityLevel::Trace, "Failed to lookup session by activation");
    next_->Invoke(method, input, activation, result);
    return;
  }
  Mirel::Log::Write(logger_, SeverityLevel::Trace, "Invoke", ": AddLease. sessionID : ", session->GetId());
  session->AddLease();
  // Only now: a session that has not ended with the lease in force does not end by idleness any more. One
  // that has ended has no use for its leases, so that this one is not given back.
  if (session->HasEnded()) {
    executor_(GenUnauthenticated(result, {}));
    return;
  }
  const auto lease = std::make_shared<Lease>(session, logger_);
  next_->Invoke(method, input, activation,
                Mirel::Core::AsyncApiResultCb(
                    [lease, result](const auto& methodResult, const auto& progress, auto&& next) {
                      lease->GiveBack();
                      result(methodResult, progress, std::forward<decltype(next)>(next));
                    }));
}

}  // namespace SarnMirel::Filter
