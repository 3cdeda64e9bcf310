#pragma once

#include <list>
#include <string>

#include "framework/core/l10n.h"

namespace Pelagor {
class Locale;
}

// The parts of a Mirel::L10n::Localizer for a service whose messages and formats are in a Pelagor::Locale.
// Requires: the locale outlives what is made here. As it is used by one thread at a time, so are these
// callables.
namespace SarnMirel {

struct PelagorMessageTemplateHelper {
  // An unknown locale or message sets LocaleNotSupported and gives the id.
  static Mirel::L10n::MessageTemplateCb MakeMessageTemplateCb(std::list<std::string> localeNames,
                                                              Pelagor::Locale* locale);
};

struct PelagorArgumentFormatterHelper {
  // The preference "C" alone means "en". Where no locale suits, FormatLocaleNotSupported is set and the value
  // is shown as it is without any locale. Precision and time zone are not used: reals have the decimals that
  // they need, and times are in UTC.
  static Mirel::L10n::ArgumentFormatter MakeFormatter(std::list<std::string> localeNames,
                                                      Pelagor::Locale* locale);
};

}  // namespace SarnMirel
