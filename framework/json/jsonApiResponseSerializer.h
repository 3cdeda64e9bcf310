#pragma once

#include <memory>
#include <string>

#include "framework/core/apiSerializer.h"

// The answers of JSON-RPC 2.0. An identifier is JSON text, as JsonApiRequestDeserializer gives it. Inside a
// stream the texts are the same, so `stream` changes nothing. The output is valid JSON without a raw line
// feed whatever strings hold: a byte that is not UTF-8 is written as U+FFFD. Blobs go out by reference.
namespace Mirel::Protocol::Json {

enum class Dialect { Typed, Direct };

// The part that both dialects share.
template <Dialect D>
class BasicResponseSerializer : public Core::ApiResponseSerializer {
 public:
  void SerializeInvoke(const std::string& id, const std::shared_ptr<const Core::MethodResult>& result,
                       ORange& out, std::shared_ptr<const Data::ErrorValue>& errorOut,
                       bool stream) const override;
  // Writes a notification (without "id"), as it isn't the answer yet.
  void SerializeInvokeProgress(const std::string& id, const Progress& progress, ORange& out,
                               std::shared_ptr<const Data::ErrorValue>& errorOut) const override;
  void SerializeError(const std::shared_ptr<const Data::ErrorValue>& error, ORange& out,
                      std::shared_ptr<const Data::ErrorValue>& errorOut) const override;
};

extern template class BasicResponseSerializer<Dialect::Typed>;
extern template class BasicResponseSerializer<Dialect::Direct>;

// Writes values that can be read back without metadata: {"structure":NAME,"fields":{...}},
// {"error":NAME,"fields":{...}}, {"blob":BASE64}, {"optional":[]} or {"optional":[VALUE]}, {"secret":TEXT};
// lists, strings, numbers and booleans as in JSON, a double always with a point or an exponent; void is
// null. The number is the version of the dialect.
template <unsigned Version>
class JsonApiResponseSerializer final : public BasicResponseSerializer<Dialect::Typed> {
  static_assert(Version == 0, "there is one version");
};

// Writes plain JSON for people and jq: structures are objects without their name, an absent optional is left
// out of its structure, a blob is its base64 text, an error is an object with its name as "error".
template <unsigned Version>
class JsonApiDirectResponseSerializer final : public BasicResponseSerializer<Dialect::Direct> {
  static_assert(Version == 0, "there is one version");
};

}  // namespace Mirel::Protocol::Json
