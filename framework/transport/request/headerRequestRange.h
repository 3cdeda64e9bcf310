#pragma once

#include <cstddef>
#include <memory>

#include "framework/transport/request/headerRange.h"
#include "framework/transport/request/headerView.h"
#include "framework/transport/request/serverRequest.h"

namespace Mirel::Transport::PicoHttp {

// A request's headers, with its method in front as the pseudo-header ":method". Keeps the request alive.
class HeaderRequestRange final : public HeaderRange {
 public:
  explicit HeaderRequestRange(std::shared_ptr<ServerDetail::Request> request);

  const Header& Current() const override { return current_; }
  void Advance() override;
  bool AtEnd() const override { return position_ > request_->head.headerCount; }
  void Reset() override;

 private:
  void Load();

  std::shared_ptr<ServerDetail::Request> request_;
  // 0 is the method, and n the n-th header.
  std::size_t position_ = 0;
  Http::HeaderView current_;
};

class HttpRequest {
 public:
  explicit HttpRequest(std::shared_ptr<ServerDetail::Request> request) : request_(std::move(request)) {}

  std::shared_ptr<HeaderRange> headersPtr() const { return std::make_shared<HeaderRequestRange>(request_); }

 private:
  std::shared_ptr<ServerDetail::Request> request_;
};

}  // namespace Mirel::Transport::PicoHttp
