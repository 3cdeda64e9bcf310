#pragma once

#include <boost/asio/buffer.hpp>

#include "framework/transport/request/phrRequest.h"

namespace Mirel::Transport::PicoHttp {

inline constexpr long kPhrMalformed = -1;
inline constexpr long kPhrIncomplete = -2;

// Parses a request head (RFC 9112, sections 3 and 5) of which `lastLength` bytes were looked at by an
// earlier call. Gives the head's length once it is complete. A line may end with a bare LF. All that lets
// two readers see different requests is malformed: folded lines, white space before a colon, control
// characters.
long PhrParse(const boost::asio::const_buffer& bytes, PhrRequest& request, unsigned long lastLength);

// Lowers the names where they lie, and sorts by name; headers of one name keep their order. The buffer that
// was parsed must be writable.
void TolowerAndSortHeaders(PhrHeaders headers);

// Lowers a view's bytes where they lie. Requires: they are in a writable buffer.
void LowerInPlace(std::string_view view);

}  // namespace Mirel::Transport::PicoHttp
