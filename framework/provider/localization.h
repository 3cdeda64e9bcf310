#pragma once

#include <memory>

#include "framework/core/l10n.h"

namespace Mirel::L10n {

// The plain localizer: one locale, no catalogue, numbers as C prints them.
struct LocalizerHelpers {
  // A new localizer for "en_US" made of the two parts below.
  static std::shared_ptr<Localizer> GetDefaultLocalizer();
  // Gives the message's id for its template, and the error NoTemplate.
  static MessageTemplateCb GetDefaultMessageTemplateCb();
  // Ignores all preferences: integers in decimal, reals with six decimals, date-times as they are.
  static ArgumentFormatter GetDefaultFormatter();
};

// The fixed "en_US", "C", "Etc/UTC", for errors that don't depend on the client's request.
RequestLocalizer MakeDefaultRequestLocalizer();

}  // namespace Mirel::L10n
