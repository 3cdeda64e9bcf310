#pragma once

#include <boost/asio/buffer.hpp>

#include "framework/transport/request/phrRequest.h"

namespace Mirel::Transport::PicoHttp {

inline constexpr long kPhrMalformed = -1;
inline constexpr long kPhrIncomplete = -2;

// Parses a request head (RFC 9112, sections 3 and 5), of which an earlier call has seen `lastLength` bytes.
// Gives the head's length once it is complete. A line may end with a bare LF. What two readers may understand
// in different ways is malformed: folded lines, white space before a colon, control characters.
long PhrParse(const boost::asio::const_buffer& bytes, PhrRequest& request, unsigned long lastLength);

// Lowers the names in place, and sorts by name; headers of one name keep their order. Requires: the buffer
// that was parsed is writable.
void TolowerAndSortHeaders(PhrHeaders headers);

// Lowers a view's bytes in place. Requires: they are in a writable buffer.
void LowerInPlace(std::string_view view);

}  // namespace Mirel::Transport::PicoHttp
