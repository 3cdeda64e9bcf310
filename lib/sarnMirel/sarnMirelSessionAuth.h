#pragma once

#include <memory>
#include <string>
#include <utility>

#include "framework/core/dataValue.h"
#include "platform/corvane/session.h"

namespace SarnMirel {

// Whose session it is: the user, and the authentication structure that made the session.
class SarnMirelSessionAuth final : public Corvane::SessionAuthData {
 public:
  SarnMirelSessionAuth(std::string userName, std::shared_ptr<const Mirel::Data::StructValue> structure)
      : userName_(std::move(userName)), structure_(std::move(structure)) {}

  std::string GetUsername() const override { return userName_; }

 private:
  std::string userName_;
  std::shared_ptr<const Mirel::Data::StructValue> structure_;
};

}  // namespace SarnMirel
