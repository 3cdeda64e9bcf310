#include <gtest/gtest.h>

#include "framework/authz/authzInfo.h"
#include "framework/core/asyncActivation.h"
#include "framework/json/valueWriter.h"
#include "framework/metadata/providerHelper.h"
#include "framework/provider/asyncApiInterface.h"
#include "testing/metadataDocument.h"

namespace Mirel::Provider::Metadata {
namespace {

using namespace Testing;
using Arguments = std::map<std::string, std::string>;

constexpr char kComponent[] = "com.tessaly.norn.hesper";

// Plain JSON of a value, to compare with the file.
std::string Show(const Data::DataValue& value) {
  ORange text;
  Protocol::Json::WriteDirect(value, text);
  return text.ToString();
}

class MetadataServicesTest : public testing::Test {
 protected:
  void Load(const std::string& fileName) {
    ProviderHelper::LoadCliMetadataFile(kComponent, fileName, cli);
    ProviderHelper::LoadMetamodelMetadataFile(kComponent, fileName, model);
    ProviderHelper::LoadAuthnMetadataFile(kComponent, fileName, authn);
  }

  ProviderHelper::InterfaceList Interfaces() const {
    auto all = ProviderHelper::CliInterfaces(cli);
    all.splice(all.end(), ProviderHelper::MetamodelInterfaces(model));
    all.splice(all.end(), ProviderHelper::AuthnInterfaces(authn));
    return all;
  }

  // The value as plain JSON, or the error's name. The service is named without its common prefix.
  std::string Call(const std::string& service, const std::string& name,
                   const Arguments& arguments = {}) const {
    auto input = Data::StructValue::GetInstance("");
    for (const auto& [key, text] : arguments) input->AppendField(key, Data::DataValue::Create(text));
    std::string answer = "no such service";
    for (const auto& interface : Interfaces()) {
      if (interface->ServiceName() != "com.tessaly.mirel.metadata." + service) continue;
      std::shared_ptr<const AsyncApiOperation> operation;
      MessageList messages;
      if (!interface->LookupOperation(name, operation, messages)) return "no such operation";
      operation->Call(input, nullptr,
                      Core::AsyncApiResultCb([&](const auto& result, const auto&, const auto&) {
                        answer = result->error ? result->error->name() : Show(*result->output);
                      }));
    }
    return answer;
  }

  std::shared_ptr<Cli::MetadataContainer> cli = Cli::MetadataContainer::GetInstance();
  std::shared_ptr<Metamodel::MetadataContainer> model = Metamodel::MetadataContainer::GetInstance();
  std::shared_ptr<Authentication::MetadataContainer> authn = Authentication::MetadataContainer::GetInstance();
};

constexpr char kNotFound[] = "com.tessaly.mirel.std.errors.not_found";

// What is offered is what a client may call before it has authenticated, and the other way round.
TEST_F(MetadataServicesTest, AreThoseThatAreOpenToAll) {
  Texts offered;
  for (const auto& interface : Interfaces()) {
    for (const auto& operation : interface->Operations()) {
      EXPECT_TRUE(offered.insert(interface->ServiceName() + '.' + operation.name).second);
    }
  }
  Texts open;
  for (const auto& operation : Authz::AuthzInfo().openOperations) {
    if (operation.starts_with("com.tessaly.mirel.metadata.")) open.insert(operation);
  }
  EXPECT_EQ(offered, open);
  EXPECT_EQ(offered.size(), 31U);
}

TEST_F(MetadataServicesTest, GiveEveryEntryOfTheFileAsItStandsThere) {
  Load(METADATA_FILE);
  const auto file = ReadJson(METADATA_FILE);
  const std::pair<const char*, const char*> lists[] = {
      {"metamodel.package", "/metamodel/packages"},
      {"metamodel.service", "/metamodel/services"},
      {"metamodel.structure", "/metamodel/structures"},
      {"metamodel.enumeration", "/metamodel/enumerations"},
      {"cli.namespace", "/cli/namespaces"},
      {"cli.command", "/cli/commands"},
      {"authentication.package", "/authentication/packages"},
      {"authentication.service", "/authentication/services"},
  };
  for (const auto& [service, pointer] : lists) {
    const auto& list = At(file, pointer);
    std::string ids;
    for (const auto& id : Collect(list, "id")) ids += (ids.empty() ? "\"" : ",\"") + id + '"';
    EXPECT_EQ(Call(service, "list"), '[' + ids + ']');
    for (const auto& entry : list.GetArray()) {
      EXPECT_EQ(Call(service, "get", {{"id", entry["id"].GetString()}}), WriteJson(entry));
    }
    EXPECT_EQ(Call(service, "get", {{"id", "a.b"}}), kNotFound);
    EXPECT_EQ(Call(service, "get"), "com.tessaly.mirel.std.errors.unexpected_input");
  }
  for (const char* section : {"metamodel", "authentication"}) {
    const auto service = std::string(section) + ".component";
    EXPECT_EQ(Call(service, "list"), "[\"com.tessaly.norn.hesper\"]");
    EXPECT_EQ(Call(service, "get", {{"id", kComponent}}),
              WriteJson(At(file, '/' + std::string(section) + "/component")));
  }
}

TEST_F(MetadataServicesTest, FollowTheFile) {
  EXPECT_EQ(Call("metamodel.structure", "list"), "[]");
  EXPECT_EQ(Call("metamodel.component", "fingerprint"), kNotFound);

  Load(METADATA_FILE);
  EXPECT_EQ(Call("metamodel.service.hidden", "list"), "[]");
  const auto before = Call("metamodel.component", "fingerprint");
  const auto cliBefore = Call("cli.command", "fingerprint");
  EXPECT_EQ(before.size(), 64U + 2U);
  EXPECT_EQ(before.find_first_not_of("\"0123456789abcdef"), std::string::npos);
  EXPECT_EQ(Texts({before, cliBefore, Call("authentication.component", "fingerprint")}).size(), 3U);
  EXPECT_EQ(Call("cli.namespace", "fingerprint"), cliBefore);

  const TemporaryFolder folder;
  Load(folder.Write("changed.json", ChangedMetadata("/metamodel/services/0/hidden", "true")));
  EXPECT_EQ(Call("metamodel.service.hidden", "list"), "[\"com.tessaly.norn.hesper.guest_data\"]");
  EXPECT_NE(Call("metamodel.component", "fingerprint"), before);
  EXPECT_EQ(Call("cli.command", "fingerprint"), cliBefore);
}

}  // namespace
}  // namespace Mirel::Provider::Metadata
