#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "framework/core/asyncActivation.h"
#include "framework/core/dataValue.h"
#include "lib/sarnMirel/sessionFunctions.h"
#include "platform/corvane/session.h"
#include "platform/corvane/sessionManager.h"

// The application object of this program is brought up before the first test. Its configuration has
// the ephemeral timeout that kEphemeralTimeout names, and its logger writes faults only.
namespace Bridge {

constexpr std::int64_t kEphemeralTimeout = 7'000'000;

using Entries = std::map<std::string, std::string>;

SarnMirel::ActivationPtr Activation(const Entries& securityContext,
                                    const Mirel::Data::DataValuePtr& authData = nullptr);

// The security context of a call within a session.
Entries InSession(const std::string& apiSessionId);

// What an authentication handler leaves for a user who has logged in.
Mirel::Data::StructValuePtr Login(const std::string& user);

Corvane::SessionManager& Manager();

// What is written to standard error while the function runs.
std::string CaptureLog(const std::function<void()>& function);

}  // namespace Bridge
