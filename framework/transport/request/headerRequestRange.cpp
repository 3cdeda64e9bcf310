#include "framework/transport/request/headerRequestRange.h"

#include <utility>

namespace Mirel::Transport::PicoHttp {

HeaderRequestRange::HeaderRequestRange(std::shared_ptr<ServerDetail::Request> request)
    : request_(std::move(request)) {
  Load();
}

void HeaderRequestRange::Advance() {
  ++position_;
  if (!AtEnd()) Load();
}

void HeaderRequestRange::Reset() {
  position_ = 0;
  Load();
}

void HeaderRequestRange::Load() {
  if (position_ == 0) {
    current_ = Http::HeaderView(":method", request_->head.method);
  } else {
    const PhrHeader& header = request_->head.headers[position_ - 1];
    current_ = Http::HeaderView(header.name, header.value);
  }
}

}  // namespace Mirel::Transport::PicoHttp
