#pragma once

#include <array>
#include <memory>

#include "bindings/guestDataTypes.h"
#include "framework/core/dataValue.h"
#include "platform/corvane/mutex.h"

namespace NornHesper {

struct CidInfo;
class Publication;
using PublicationPtr = std::shared_ptr<Publication>;

// The elements that subscribers get of one publication. They differ only by the kind of identifier that the
// subscription speaks in, so each kind is made once, when the first element of it is sent, and shared. May be
// used by any thread.
class PublicationElements {
 public:
  // The element keeps the publication alive. Requires: this is of that publication.
  std::shared_ptr<const Mirel::Data::StructValue> Get(
      const PublicationPtr& publication, const Com::Tessaly::Norn::Hesper::VmIdentifierType& vmIdType);

 private:
  Corvane::Mutex mutex_;
  // By the kind of identifier; null until made.
  std::array<std::shared_ptr<const Mirel::Data::StructValue>, 3> elements_ CORVANE_GUARDED_BY(mutex_);
};

// The VM's identifier of the kind that a subscription speaks in. The service refuses unknown kinds.
const std::string& VmIdentifier(const CidInfo& vm, const Com::Tessaly::Norn::Hesper::VmIdentifierType& type);

}  // namespace NornHesper
