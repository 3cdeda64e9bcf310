#pragma once

#include <boost/system/error_code.hpp>

namespace Mirel::Transport::PicoHttp::Error {

enum class Code {
  HeadersParse = 1,
  ChunkParse = 2,
  HttpProtocol = 3,
  FailedToListen = 4,
  InvalidRequest = 5,
  IncompleteBody = 6,
  HeadersTooLong = 7,
};

// Faults of the server and of request heads.
const boost::system::error_category& GetTransportCategory() noexcept;

inline boost::system::error_code make_error_code(Code code) noexcept {
  return {static_cast<int>(code), GetTransportCategory()};
}

}  // namespace Mirel::Transport::PicoHttp::Error

namespace Mirel::Transport::Http::Error {

enum class Code { FrameParse = 1, MessageTooLong = 2, EndOfBody = 3 };

// Faults of bodies and frames; the end of a body travels as one of them.
const boost::system::error_category& GetTransportCategory() noexcept;

inline boost::system::error_code make_error_code(Code code) noexcept {
  return {static_cast<int>(code), GetTransportCategory()};
}

}  // namespace Mirel::Transport::Http::Error

template <>
struct boost::system::is_error_code_enum<Mirel::Transport::PicoHttp::Error::Code> : std::true_type {};
template <>
struct boost::system::is_error_code_enum<Mirel::Transport::Http::Error::Code> : std::true_type {};
