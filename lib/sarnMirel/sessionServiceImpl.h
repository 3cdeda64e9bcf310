#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "bindings/sessionService.h"
#include "lib/sarnMirel/sessionFunctions.h"

namespace Corvane::Service {
class Logger;
}

namespace SarnMirel {

struct SessionMapping;

// Hands out identifiers for sessions of the host, in a bounded table. Every refusal is the same answer,
// Unauthenticated, whose reason only the log knows. Operations answer before they return; usable from any
// thread as far as the callables are.
class SessionServiceImpl final : public Com::Tessaly::Ombra::SessionSvc::AsyncServiceInterface {
 public:
  using CreateResult = Com::Tessaly::Ombra::SessionSvc::CreateResult;
  using DeleteResult = Com::Tessaly::Ombra::SessionSvc::DeleteResult;
  using GetResult = Com::Tessaly::Ombra::SessionSvc::GetResult;
  // Told of each session before its client is.
  using SessionCreatedCb = std::function<void(const ActivationPtr& activation, Corvane::Session* session)>;

  // Both callables may be empty.
  SessionServiceImpl(std::shared_ptr<SessionMapping> mapping, Corvane::Ref<Corvane::Service::Logger> logger,
                     SessionCreatedCb sessionCreatedCb, ExpiryCbFactory expiryCbFactory);
  SessionServiceImpl(std::shared_ptr<SessionMapping> mapping, Corvane::Ref<Corvane::Service::Logger> logger,
                     ExpiryCbFactory expiryCbFactory);

  void Create(const ActivationPtr& activation, const CreateResult& result) override;
  void Delete(const ActivationPtr& activation, const DeleteResult& result) override;
  void Get(const ActivationPtr& activation, const GetResult& result) override;
  ~SessionServiceImpl() override;

 private:
  SessionRef SessionForCreate(const ActivationPtr& activation) const;
  SessionRef SessionFromTicket(const std::string& ticket) const;

  std::shared_ptr<SessionMapping> mapping_;
  const std::int64_t sessionIdleTimeout_;
  Corvane::Ref<Corvane::Service::Logger> logger_;
  SessionCreatedCb sessionCreatedCb_;
  ExpiryCbFactory expiryCbFactory_;
};

}  // namespace SarnMirel
