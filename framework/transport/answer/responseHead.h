#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "framework/transport/answer/protocolHandlerSpec.h"
#include "framework/transport/request/headerRange.h"
#include "framework/transport/request/headerView.h"

namespace Mirel::Transport::Http {

// A range over header views. Holds the owner of their texts, if there is one.
template <typename Container>
class HttpResponseHeaderRangeBase final : public HeaderRange {
 public:
  explicit HttpResponseHeaderRangeBase(Container headers, std::shared_ptr<const void> owner = nullptr)
      : headers_(std::move(headers)), owner_(std::move(owner)), current_(headers_.begin()) {}
  HttpResponseHeaderRangeBase(const HttpResponseHeaderRangeBase&) = delete;
  HttpResponseHeaderRangeBase& operator=(const HttpResponseHeaderRangeBase&) = delete;

  const Header& Current() const override { return *current_; }
  void Advance() override { ++current_; }
  bool AtEnd() const override { return current_ == headers_.end(); }
  void Reset() override { current_ = headers_.begin(); }

 private:
  Container headers_;
  std::shared_ptr<const void> owner_;
  typename Container::iterator current_;
};

using ResponseHeaderRange = HttpResponseHeaderRangeBase<std::vector<HeaderView>>;

// The usual response headers: "200", also for an error, whose name is in "mirel-error".
std::shared_ptr<HeaderRange> DefaultErrToHeaders(const std::shared_ptr<const Data::ErrorValue>& error,
                                                 const ProtocolHandlerSpec::ParamsToHead& params);

// The headers of the answer to a request that isn't passed on.
std::shared_ptr<HeaderRange> BadRequestHeaders();

// A whole response head (RFC 9112, 4). Without a length the body is chunked.
std::string WriteHead(HeaderRange& headers, std::optional<std::uint64_t> contentLength,
                      std::string_view requestMethod);

}  // namespace Mirel::Transport::Http
