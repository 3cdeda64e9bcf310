#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "platform/corvane/dateTime.h"

namespace Pelagor {

// One value for a template.
using Argument = std::variant<std::int64_t, double, std::string, Corvane::System::DateTime>;

// The management side's message catalogues and formats of numbers and times, one locale at a time. A locale
// is selected first, and all that follows works in it. Not safe for several threads, and selecting and using
// are two steps: the owner keeps calls apart, or gives each thread its own.
class Locale {
 public:
  // Reads the catalogues of a folder: each "NAME.json" has the messages of the locale of that name, as one
  // object from message ids to texts. Throws Corvane::Exception with file and reason when the folder or a
  // catalogue can't be read.
  explicit Locale(const std::string& folder);
  ~Locale();
  Locale(const Locale&) = delete;
  Locale& operator=(const Locale&) = delete;

  // Takes names such as "de", "de_AT" and "de-AT". Formats exist for any name: those of the nearest locale
  // that is known, at last those of no country. Before the first selection the locale is "en".
  void Select(const std::string& name);

  // The message's text in the selected locale, else in the one without its last part ("de" for "de_AT"), and
  // so on; otherwise the text given.
  std::string Find(const std::string& id, const std::string& otherwise) const;

  // Fills a template's fields. A field is "{N}", "{N,K}" or "{N,K,L}": the number of an argument, counted
  // from 1; the kind D (date), T (time), I (integer) or F (floating point); and the length s (short), m
  // (medium, as without one) or l (long), of which I has none. F shows at most 2, 6 or 15 decimals by its
  // length. Without a kind the argument is shown by its own type. Dates and times are in UTC, by the
  // Gregorian rules at all times where the locale counts by that calendar.
  //
  // What is no such field, has no argument, or one of a type that the kind can't show, stays as it is.
  std::string Format(std::string_view text, std::span<const Argument> arguments);

 private:
  class Impl;

  std::unique_ptr<Impl> impl_;
};

}  // namespace Pelagor
