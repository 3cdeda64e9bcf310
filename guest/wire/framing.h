#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lib/public/api/guestLimits.h"

// How texts travel over the byte streams between a VM and its host.
namespace Wire {

// What is kept of a text: one byte more than the largest that is accepted, so that a longer one is still seen
// to be too long.
inline constexpr std::size_t kMostKept = NornHesper::kLargestDatagram + 1;
// A stream with a longer frame is not worth reading on.
inline constexpr std::size_t kLongestFrame = 1 << 20;

// One direction's frames. Bytes come as they come, split anywhere.
class Framing {
 public:
  virtual ~Framing() = default;

  // Takes bytes from the front of the input, up to the end of a frame or of the input. Gives the frame's
  // text, cut to kMostKept bytes; it is valid until the next call, and as long as the input's own bytes.
  // After a frame that is too long nothing is taken any more.
  virtual std::optional<std::string_view> Next(std::string_view& input) = 0;
  // How many bytes to read next: none of them belongs to a frame after the present one, where that can be
  // known.
  virtual std::size_t Wanted() const = 0;
  // A frame was longer than kLongestFrame.
  bool HasFailed() const { return failed_; }
  // Gives back the memory of the text that Next has given last.
  void Release();
  // Whether a frame has begun, and the bytes that are kept of it.
  bool IsInFrame() const { return inFrame_; }
  std::size_t Kept() const { return inFrame_ ? kept_.size() : 0; }

  // Appends a text as one frame.
  virtual void Append(std::string& out, std::string_view text) const = 0;
  // What is sent before a frame whose reader may not have seen the one before.
  virtual std::string_view Prologue() const { return {}; }

 protected:
  // Keeps bytes of the frame, as far as they are kept at all.
  void Keep(std::string_view bytes);
  // The frame has ended; its text may be in use up to the next call.
  std::string_view End();

  std::string kept_;
  bool inFrame_ = false;
  bool failed_ = false;

 private:
  bool ended_ = false;
};

// A 32-bit big-endian length, and as many bytes: for streams that begin with their first byte (vsock).
class LengthFraming final : public Framing {
 public:
  std::optional<std::string_view> Next(std::string_view& input) override;
  std::size_t Wanted() const override;
  void Append(std::string& out, std::string_view text) const override;

 private:
  bool TakeLength(std::string_view& input);

  std::size_t lengthBytes_ = 0;  // of the length that have come
  std::uint32_t length_ = 0;
  std::size_t missing_ = 0;
};

// Consistent Overhead Byte Stuffing (Cheshire and Baker, 1999), each text ended by a zero byte: for streams
// without a beginning (virtio-serial). What is no such text is dropped up to the next zero byte; so is what
// comes before the first one.
class CobsFraming final : public Framing {
 public:
  std::optional<std::string_view> Next(std::string_view& input) override;
  std::size_t Wanted() const override;
  void Append(std::string& out, std::string_view text) const override;
  std::string_view Prologue() const override { return {"\0", 1}; }

 private:
  void Decode(std::string_view bytes);
  bool EndFrame();

  std::size_t size_ = 0;      // of the encoded frame so far
  std::size_t left_ = 0;      // of the block, still to come
  bool zeroFollows_ = false;  // a zero stands behind the block, unless the text ends with it
  bool isSkipping_ = true;
};

}  // namespace Wire
