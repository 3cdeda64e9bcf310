#include <cerrno>
#include <charconv>
#include <string_view>

#include "guest/lib/hesperguest.h"

namespace {

// Takes the words from the front of the text, if they are there.
bool TakeWords(std::string_view& text, std::string_view words) {
  if (!text.starts_with(words)) return false;
  text.remove_prefix(words.size());
  return true;
}

template <typename Number>
bool TakeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc()) return false;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return true;
}

}  // namespace

// It is no JSON when the diagnosis quotes a faulty text, so it is read by its lines, of which none before the
// diagnosis is the guest's.
int hesper_read_acknowledgement(const char* text, std::size_t length,
                                hesper_acknowledgement* acknowledgement) {
  std::string_view left(text, length);
  *acknowledgement = {};
  acknowledgement->text = text;
  acknowledgement->length = length;
  const auto rate = left.rfind("\"rateLimit\":");
  if (rate == std::string_view::npos) return -EBADMSG;
  std::string_view end = left.substr(rate);
  if (!TakeWords(end, "\"rateLimit\":") || !TakeNumber(end, acknowledgement->rate_limit) || end != "\n}") {
    return -EBADMSG;
  }
  if (!TakeWords(left, "{\n")) return -EBADMSG;
  if (TakeWords(left, "\"sequence\":")) {
    if (!TakeNumber(left, acknowledgement->sequence) || !TakeWords(left, ",\n")) return -EBADMSG;
    acknowledgement->has_sequence = 1;
  }
  acknowledgement->accepted = TakeWords(left, "\"status\":\"ok\",\n") ? 1 : 0;
  return acknowledgement->accepted != 0 || TakeWords(left, "\"status\":\"bad\",\n") ? 0 : -EBADMSG;
}
