#include "framework/transport/request/requestSpecExtractor.h"

#include "framework/core/text.h"
#include "framework/json/jsonApiRequestDeserializer.h"
#include "framework/json/jsonApiResponseSerializer.h"
#include "framework/transport/request/mediaType.h"

namespace Mirel::Transport::Http {
namespace {

std::uint32_t ChooseAnswer(std::uint32_t codes) {
  for (const auto code : {MediaType::kCleanStreamJson, MediaType::kStreamJson, MediaType::kCleanJson}) {
    if ((codes & code) != 0) return code;
  }
  return MediaType::kJson;
}

std::shared_ptr<Core::ApiResponseSerializer> MakeSerializer(std::uint32_t code) {
  constexpr std::uint32_t kClean =
      MediaType::kCleanJson | MediaType::kFramedCleanJson | MediaType::kCleanStreamJson;
  if ((code & kClean) != 0) return std::make_shared<Protocol::Json::JsonApiDirectResponseSerializer<0>>();
  return std::make_shared<Protocol::Json::JsonApiResponseSerializer<0>>();
}

void ReadContentType(RequestSpec& spec, std::string_view value) {
  spec.contentType = value;
  spec.contentTypeCode = MediaTypeCodes(value);
  spec.deserializer = spec.contentTypeCode == MediaType::kJson
                          ? std::make_shared<Protocol::Json::JsonApiRequestDeserializer>()
                          : nullptr;
}

void ReadAccept(RequestSpec& spec, std::string_view value) {
  spec.acceptCode = ChooseAnswer(MediaTypeCodes(value));
  spec.serializer = MakeSerializer(spec.acceptCode);
  if (Contains(value, ".stream.json")) spec.acceptsStream = true;
}

void ReadConnection(RequestSpec& spec, std::string_view value) {
  std::string lower(value);
  InplaceLower(lower.data(), lower.data() + lower.size());
  if (Contains(lower, "close")) spec.keepAlive = false;
}

}  // namespace

std::shared_ptr<RequestSpec> RequestSpecExtractor::Extract(HeaderRange& headers) {
  auto spec = std::make_shared<RequestSpec>();
  bool sawContentType = false;
  bool sawAccept = false;
  bool sawConnection = false;
  for (; !headers.AtEnd() && !(sawContentType && sawAccept && sawConnection); headers.Advance()) {
    const Header& header = headers.Current();
    if (header.Name() == "content-type") {
      ReadContentType(*spec, header.Value());
      sawContentType = true;
    } else if (header.Name() == "accept") {
      ReadAccept(*spec, header.Value());
      sawAccept = true;
    } else if (header.Name() == "connection") {
      ReadConnection(*spec, header.Value());
      sawConnection = true;
    }
  }
  if (!spec->serializer) spec->serializer = MakeSerializer(spec->acceptCode);
  return spec;
}

}  // namespace Mirel::Transport::Http
