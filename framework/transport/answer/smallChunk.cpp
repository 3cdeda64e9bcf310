#include "framework/transport/answer/smallChunk.h"

#include <cstring>
#include <string_view>

#include "framework/transport/answer/chunkedOutput.h"

namespace Mirel::Transport::Http::HttpDetail {

SmallChunk::SmallChunk(const ORange& body, bool framed) {
  SizeLine frameSize;
  const auto frameLine = framed ? frameSize.Set(body.Size()) : boost::asio::const_buffer();
  SizeLine chunkSize;
  Append(chunkSize.Set(frameLine.size() + body.Size() + (framed ? kCrLf.size() : 0)));
  if (framed) Append(frameLine);
  body.ForEachSegment([this](std::string_view segment) { Append(boost::asio::buffer(segment)); });
  if (framed) Append(boost::asio::buffer(kCrLf));
  Append(boost::asio::buffer(kCrLf));
}

void SmallChunk::Append(boost::asio::const_buffer bytes) {
  std::memcpy(text_.data() + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

}  // namespace Mirel::Transport::Http::HttpDetail
