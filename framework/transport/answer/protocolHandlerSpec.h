#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/executionContext.h"
#include "framework/core/l10n.h"
#include "framework/core/log.h"
#include "framework/transport/request/headerRange.h"

namespace Mirel::Transport::Http {

class BodyBudget;
class Turns;

// What every request is served with. A default-constructed one has the default localizer and the default
// response head, and neither provider nor logger.
struct ProtocolHandlerSpec {
  struct ParamsToHead {
    // A media type's code (mediaType.h).
    std::uint32_t contentType;
    bool keepAlive;
  };

  // Makes the response's headers, with the pseudo-headers ":status" and ":reason". The error may be null.
  using ErrToHeaders =
      std::function<HeaderRangePtr(const std::shared_ptr<const Data::ErrorValue>&, const ParamsToHead&)>;

  ProtocolHandlerSpec();

  std::shared_ptr<Core::AsyncApiProvider> provider;
  std::function<void(std::function<void()>)> enqueuer;
  std::shared_ptr<const L10n::Localizer> localizer;
  std::vector<HeaderExtractor> extractors;
  // A body of exactly this many bytes passes.
  std::uint64_t httpBodySizeLimitInBytes = 2500000;
  std::shared_ptr<Log::Logger> logger;
  ErrToHeaders errToHeaders;
  // What the requests of one server share. Null sets no bound.
  std::shared_ptr<BodyBudget> bodyBudget;
  std::shared_ptr<Turns> turns;
};

}  // namespace Mirel::Transport::Http
