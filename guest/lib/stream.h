#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "guest/lib/wait.h"
#include "guest/wire/framing.h"
#include "platform/corvane/fileDescriptor.h"

namespace HesperGuest {

// Frames over a byte stream to the host. Functions give 0 or a negative errno.
class Stream {
 public:
  enum class Kind {
    Socket,  // ends with its peer
    Line,    // virtio-serial: stays when the host's end goes, and may come back
  };

  // The descriptor does not block.
  Stream(Corvane::FileDescriptor descriptor, Kind kind);

  int Send(std::string_view text, const Deadline& deadline);
  // The text is valid until the next call.
  int Receive(std::string_view& text, const Deadline& deadline);

  int Descriptor() const { return descriptor_.Get(); }
  Kind GetKind() const { return kind_; }

 private:
  int Read(const Deadline& deadline);
  int AwaitHost(short events, const Deadline& deadline) const;

  Corvane::FileDescriptor descriptor_;
  const Kind kind_;
  const std::unique_ptr<Wire::Framing> framing_;
  bool hasBegun_ = false;
  std::string out_;
  // What has been read, and the part of it that is not used yet.
  std::string in_;
  std::string_view unread_;
};

}  // namespace HesperGuest
