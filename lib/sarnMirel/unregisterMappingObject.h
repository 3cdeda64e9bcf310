#pragma once

#include <memory>
#include <string>
#include <utility>

#include "lib/sarnMirel/sessionMapping.h"
#include "platform/corvane/session.h"

namespace SarnMirel {

// Attached to a session of the host, so that a client's identifier goes when the session goes, however that
// comes about.
class UnregisterMappingObject final : public Corvane::SessionObject {
 public:
  UnregisterMappingObject(std::shared_ptr<SessionMapping> mapping, std::string apiSessionId)
      : mapping_(std::move(mapping)), apiSessionId_(std::move(apiSessionId)) {}

  void SessionEnded() override { mapping_->Unregister(apiSessionId_); }

 private:
  std::shared_ptr<SessionMapping> mapping_;
  std::string apiSessionId_;
};

}  // namespace SarnMirel
