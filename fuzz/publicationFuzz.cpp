// The texts of guests. Whatever they are, the outcome is one of two; it is also compared with that of the
// parser's and the validator's plain use, for texts that these can take.

#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/publication.h"
#include "lib/public/api/guestLimits.h"
#include "platform/corvane/crypto.h"

namespace {

using NornHesper::GlobalContext;
using NornHesper::Publication;
using NornHesper::PublicationSchema;

void Require(bool condition) {
  if (!condition) std::abort();
}

// Brings the context up with a logger that leaves out what each bad text would have to say.
void InitializeQuietly() {
  const std::string file =
      std::filesystem::temp_directory_path() / ("quiet" + std::to_string(getpid()) + ".xml");
  std::ofstream(file) << "<config><log><level>2</level></log></config>";
  const auto result = GlobalContext::Get()->InitializeApplication(file.c_str());
  std::filesystem::remove(file);
  Require(!result.HasErrors());
}

std::string ToUriFragment(const rapidjson::Pointer& pointer) {
  rapidjson::StringBuffer buffer;
  pointer.StringifyUriFragment(buffer);
  return buffer.GetString();
}

void CompareWithPlainUse(const std::string& text, const Publication& publication) {
  rapidjson::Document document;
  // Padded, as the parser reads in blocks.
  document.Parse((text + std::string(16, '\0')).c_str());
  Require(document.HasParseError() == publication.document.HasParseError());
  if (document.HasParseError()) return;
  static const rapidjson::SchemaDocument schema = [] {
    rapidjson::Document source;
    source.Parse(PublicationSchema::Text().data(), PublicationSchema::Text().size());
    return rapidjson::SchemaDocument(source);
  }();
  rapidjson::SchemaValidator validator(schema);
  const bool matches = document.Accept(validator);
  const auto mismatch = GlobalContext::Get()->GetPublicationSchema().Check(document);
  Require(matches == !mismatch);
  if (mismatch) {
    Require(mismatch->schemaPlace == ToUriFragment(validator.GetInvalidSchemaPointer()));
    Require(mismatch->keyword == validator.GetInvalidSchemaKeyword());
    Require(mismatch->documentPlace == ToUriFragment(validator.GetInvalidDocumentPointer()));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  [[maybe_unused]] static const bool initialized = (InitializeQuietly(), true);
  const std::string text(reinterpret_cast<const char*>(data), std::min(size, NornHesper::kLargestDatagram));
  Publication publication(text.data(), text.size(), nullptr);
  const bool accepted = !publication.Parse().HasErrors();
  Require(accepted == publication.parsed && publication.text == text);
  if (accepted) {
    std::string base64;
    Base64_Encode(publication.payload.data(), publication.payload.size(), base64);
    Require(publication.hasSequence && publication.PayloadBase64() == base64);
  }
  if (std::count_if(text.begin(), text.end(), [](char c) { return c == '[' || c == '{'; }) < 100) {
    CompareWithPlainUse(text, publication);
  }
  return 0;
}
