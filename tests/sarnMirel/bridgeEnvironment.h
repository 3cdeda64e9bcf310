#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "framework/core/asyncActivation.h"
#include "lib/sarnMirel/sessionMapping.h"
#include "lib/sarnMirel/sessionServiceImpl.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

// The application object of this program is brought up before the first test: with the ephemeral timeout that
// is here, a logger that writes faults only, and sessions whose time stands still.
namespace Bridge {

inline constexpr std::int64_t kEphemeralTimeout = 7'000'000;
inline constexpr std::int64_t kMinute = 60'000'000;
constexpr char kRefused[] = "com.tessaly.mirel.std.errors.unauthenticated";

using Entries = std::map<std::string, std::string>;

SarnMirel::ActivationPtr Activation(const Entries& securityContext,
                                    const Mirel::Data::DataValuePtr& authData = nullptr);

// The security context of a call within a session.
Entries InSession(const std::string& apiSessionId);

// What an authentication handler leaves for a user who has logged in.
Mirel::Data::StructValuePtr Login(const std::string& user);

Corvane::SessionManager& Manager();

// Ends the sessions whose time comes within it.
void PassTime(std::int64_t microseconds);

// What is written to standard error while the function runs.
std::string CaptureLog(const std::function<void()>& function);

// Calls an operation of the session service. Nothing when it is refused.
template <typename T>
boost::optional<T> Call(SarnMirel::SessionServiceImpl& service,
                        void (SarnMirel::SessionServiceImpl::*operation)(
                            const SarnMirel::ActivationPtr&,
                            const Mirel::AsyncResult<T, Mirel::AsyncResultTerminateCbPolicy>&),
                        const SarnMirel::ActivationPtr& activation) {
  using Result = Mirel::AsyncResult<T, Mirel::AsyncResultTerminateCbPolicy>;
  boost::optional<T> answer;
  int answers = 0;
  typename Result::ResultCb callbacks;
  callbacks.first = [&](const auto& value, const auto& error, const auto&) {
    ++answers;
    answer = value;
    EXPECT_EQ(value ? kRefused : error->name(), kRefused);
  };
  (service.*operation)(activation, Result(std::move(callbacks)));
  EXPECT_EQ(answers, 1);
  return answer;
}

inline std::size_t EntriesOf(SarnMirel::SessionMapping& mapping) {
  const Corvane::MutexLock lock(mapping.mutex);
  return mapping.map.size();
}

}  // namespace Bridge
