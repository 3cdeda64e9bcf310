#include <cerrno>
#include <cstring>
#include <fstream>

#include <openssl/evp.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "framework/metadata/providerHelper.h"
#include "framework/metadata/sections.h"
#include "framework/provider/messageFormat.h"

namespace Mirel::Provider::Metadata {
namespace {

struct SectionReader {
  const char* name;
  Content (*read)(const JsonNode& section, const ModelNames& names);
};

// Without recursion, so that no nesting ends the process.
void ParseFile(const std::string& fileName, rapidjson::Document& document) {
  errno = 0;
  std::ifstream file(fileName, std::ios::binary);
  if (!file.is_open()) throw MetadataError(std::string("cannot be opened: ") + std::strerror(errno));
  rapidjson::IStreamWrapper stream(file);
  document.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream);
  if (document.HasParseError()) {
    throw MetadataError("no JSON at byte " + std::to_string(document.GetErrorOffset()) + ": " +
                        rapidjson::GetParseError_En(document.GetParseError()));
  }
}

std::string Sha256(const char* data, std::size_t size) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(data, size, digest, &length, EVP_sha256(), nullptr) != 1) {
    throw MetadataError("the fingerprint cannot be made");
  }
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (unsigned int i = 0; i < length; ++i) {
    text += kDigits[digest[i] >> 4];
    text += kDigits[digest[i] & 15];
  }
  return text;
}

std::string Fingerprint(const JsonNode& section) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  section.value().Accept(writer);
  return Sha256(text.GetString(), text.GetSize());
}

Content ReadSection(const std::string& component, const std::string& fileName, const SectionReader& reader) {
  rapidjson::Document document;
  ParseFile(fileName, document);
  const JsonNode root(document);
  root.ExpectMembers({"component", "metamodel"}, {"cli", "authentication", "authorization"});
  if (root.Text("component") != component) {
    root.Member("component").Fail("is \"" + root.Text("component") + "\", not \"" + component + '"');
  }
  // Every section refers to the model.
  const auto names = CheckMetamodel(root.Member("metamodel"));
  const auto section = root.Member(reader.name);
  auto content = reader.read(section, names);
  content.fingerprint = Fingerprint(section);
  return content;
}

Data::ErrorValuePtr Load(const std::string& component, const std::string& fileName,
                         SectionContainer& container, const SectionReader& reader) {
  container.content({});
  try {
    container.content(ReadSection(component, fileName, reader));
    return nullptr;
  } catch (const MetadataError& error) {
    return Data::ErrorValue::Create("com.tessaly.mirel.std.errors.internal_server_error",
                                    {MakeMessage("mirel.metadata.load.failed", "{}", error.what())});
  }
}

}  // namespace

Data::ErrorValuePtr ProviderHelper::LoadCliMetadataFile(
    const std::string& component, const std::string& fileName,
    const std::shared_ptr<Cli::MetadataContainer>& container) {
  return Load(component, fileName, *container, {"cli", &ReadCli});
}

Data::ErrorValuePtr ProviderHelper::LoadMetamodelMetadataFile(
    const std::string& component, const std::string& fileName,
    const std::shared_ptr<Metamodel::MetadataContainer>& container) {
  return Load(component, fileName, *container, {"metamodel", &ReadMetamodel});
}

Data::ErrorValuePtr ProviderHelper::LoadAuthnMetadataFile(
    const std::string& component, const std::string& fileName,
    const std::shared_ptr<Authentication::MetadataContainer>& container) {
  return Load(component, fileName, *container, {"authentication", &ReadAuthentication});
}

}  // namespace Mirel::Provider::Metadata
