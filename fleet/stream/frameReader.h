#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Fleet {

// Cuts a stream of frames (size in hexadecimal, line end, text, line end) into its texts.
class FrameReader final {
 public:
  static constexpr std::size_t kLargestFrame = 16U << 20;

  void Feed(std::string_view bytes) { buffer_.append(bytes); }

  // Gives nothing until a whole frame has come. Throws a CallFault when the bytes are no frame.
  std::optional<std::string> Next();

 private:
  std::string buffer_;
};

}  // namespace Fleet
