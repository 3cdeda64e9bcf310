#include "apps/nornhesperd/messageCatalogue.h"

namespace NornHesper {
namespace {

struct Entry {
  const char* id;
  const char* text;
};

// Clients compare these texts: they stay as they were published, byte for byte.
constexpr Entry kCatalogue[] = {
    {"com.tessaly.norn.hesper.guest_data.vm_id_type_not_supported",
     "Virtual machine identifier type not supported {vmIdType}"},
    {"com.tessaly.norn.hesper.guest_data.vm_id_missing_in_filter_spec",
     "Required virtual machine identifier of {vmIdType} is not foundin a filter specification}"},
    {"com.tessaly.norn.hesper.guest_data.topic_prefix_empty", "Specified topic prefix should not be empty"},
    {"com.tessaly.norn.hesper.guest_data.topic_prefix_has_leading_dot",
     "Specified topic prefix should not have leading dot"},
    {"com.tessaly.norn.hesper.guest_data.topic_prefix_has_trailing_dot",
     "Specified topic prefix should not have trailing dot"},
    {"com.tessaly.norn.hesper.guest_data.past_seconds_negative",
     "Specified past seconds should not be a negative value"},
    {nullptr, nullptr},
};

}  // namespace

std::string MessageCatalogueLookup(const std::string& id, std::string_view /*locale*/,
                                   std::error_code& /*ec*/) {
  for (const Entry* entry = kCatalogue; entry->id != nullptr; ++entry) {
    if (id == entry->id) return entry->text;
  }
  return "Unknown message.";
}

}  // namespace NornHesper
