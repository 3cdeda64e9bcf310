#include "framework/transport/request/transportErrors.h"

#include <string>

// The base class's destructor is protected, and not virtual: its categories are never deleted through it.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Mirel::Transport::PicoHttp::Error {
namespace {

class transport_category final : public boost::system::error_category {
 public:
  const char* name() const noexcept override { return "Mirel Transport PicoHttp"; }
  std::string message(int code) const override;
};

std::string transport_category::message(int code) const {
  switch (static_cast<Code>(code)) {
    case Code::HeadersParse:
      return "headers parse error";
    case Code::ChunkParse:
      return "chunk parse error";
    case Code::HttpProtocol:
      return "http protocol error";
    case Code::FailedToListen:
      return "server failed to listen";
    case Code::InvalidRequest:
      return "invalid request";
    case Code::IncompleteBody:
      return "incomplete body";
    case Code::HeadersTooLong:
      return "http headers too long";
  }
  return "transport error";
}

}  // namespace

const boost::system::error_category& GetTransportCategory() noexcept {
  static const transport_category instance;
  return instance;
}

}  // namespace Mirel::Transport::PicoHttp::Error

namespace Mirel::Transport::Http::Error {
namespace {

class transport_category final : public boost::system::error_category {
 public:
  const char* name() const noexcept override { return "Mirel Transport Http"; }
  std::string message(int code) const override;
};

std::string transport_category::message(int code) const {
  switch (static_cast<Code>(code)) {
    case Code::FrameParse:
      return "frame parse error";
    case Code::MessageTooLong:
      return "message too long";
    case Code::EndOfBody:
      return "end of body";
  }
  return "transport error";
}

}  // namespace

const boost::system::error_category& GetTransportCategory() noexcept {
  static const transport_category instance;
  return instance;
}

}  // namespace Mirel::Transport::Http::Error
