#pragma once

#include <string_view>

#include "framework/transport/request/headerRange.h"

namespace Mirel::Transport::Http {

// A header that doesn't own its texts. Requires: they outlive it.
class HeaderView final : public Header {
 public:
  HeaderView() = default;
  HeaderView(std::string_view name, std::string_view value) : name_(name), value_(value) {}

  std::string_view Name() const override { return name_; }
  std::string_view Value() const override { return value_; }

 private:
  std::string_view name_;
  std::string_view value_;
};

}  // namespace Mirel::Transport::Http
