#include "framework/core/l10n.h"

#include <array>

namespace Mirel {
namespace {

struct Template {
  std::string_view id;
  std::string_view text;
};

constexpr std::string_view kGeneralTemplate = "The request failed: {1}";

constexpr std::array kTemplates = {
    Template{"mirel.send.failed", "The response could not be sent: {1}"},
    Template{"mirel.receive.failed", "The request could not be received: {1}"},
    Template{"mirel.operation.not.found", "The operation {1} does not exist."},
    Template{"mirel.service.not.found", "The service {1} does not exist."},
    Template{"mirel.service.duplicate", "The service {1} is already there."},
    Template{"mirel.input.unexpected", "The arguments do not fit the operation: {1}"},
    Template{"mirel.not.found", "Nothing has the identifier {1}."},
};

}  // namespace

std::string Message<CoreTag>::DefaultMessageForId(std::string_view id) {
  for (const auto& entry : kTemplates) {
    if (entry.id == id) return std::string(entry.text);
  }
  return std::string(kGeneralTemplate);
}

}  // namespace Mirel
