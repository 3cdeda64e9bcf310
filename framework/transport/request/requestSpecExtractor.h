#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "framework/core/apiSerializer.h"
#include "framework/transport/request/headerRange.h"

namespace Mirel::Protocol::Json {
class JsonApiRequestDeserializer;
}

namespace Mirel::Transport::Http {

// What a request's headers say about the dialects of the request and of its answer.
struct RequestSpec {
  std::string contentType;
  // Null unless the request is plain JSON.
  std::shared_ptr<Protocol::Json::JsonApiRequestDeserializer> deserializer;
  std::shared_ptr<Core::ApiResponseSerializer> serializer;
  bool acceptsStream = false;
  // Set by nothing yet: requests come in one piece.
  bool framed = false;
  bool keepAlive = true;
  // Codes of mediaType.h.
  std::uint32_t contentTypeCode = 0;
  std::uint32_t acceptCode = 1;
};

struct RequestSpecExtractor {
  // Requires: the range is at its start, and its names are in lower case.
  static std::shared_ptr<RequestSpec> Extract(HeaderRange& headers);
};

}  // namespace Mirel::Transport::Http
