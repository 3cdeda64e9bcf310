#include "framework/metadata/metadataContainer.h"

namespace Mirel::Provider::Metadata {

const Entries* SectionContainer::Find(const std::string& kind, const std::string& owner) const {
  const auto groups = content_.kinds.find(kind);
  if (groups == content_.kinds.end()) return nullptr;
  const auto entries = groups->second.find(owner);
  return entries == groups->second.end() ? nullptr : &entries->second;
}

}  // namespace Mirel::Provider::Metadata
