#include "framework/transport/connection/fewBuffers.h"

#include <cstring>

namespace Mirel::Asio {
namespace {

constexpr std::size_t kSmall = 4608;  // an element without a long payload

}  // namespace

FewBuffers::FewBuffers(std::span<const boost::asio::const_buffer> buffers) {
  for (const auto& buffer : buffers) {
    if (buffer.size() == 0) continue;
    const bool copies = buffer.size() <= kSmall && buffer.size() <= room_.size() - used_;
    if (count_ == few_.size() && !(copies && open_)) return;
    if (copies) {
      Copy(buffer);
    } else {
      few_[count_++] = buffer;
      open_ = false;
    }
  }
}

void FewBuffers::Copy(boost::asio::const_buffer buffer) {
  char* const place = room_.data() + used_;
  std::memcpy(place, buffer.data(), buffer.size());
  used_ += buffer.size();
  if (open_) {
    auto& last = few_[count_ - 1];
    last = {last.data(), last.size() + buffer.size()};
  } else {
    few_[count_++] = {place, buffer.size()};
    open_ = true;
  }
}

}  // namespace Mirel::Asio
