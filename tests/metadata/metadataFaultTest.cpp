// Files that are not as they should be: each is refused by the section that it concerns, with its place.

#include <gtest/gtest.h>

#include "framework/metadata/providerHelper.h"
#include "testing/metadataDocument.h"

namespace Mirel::Provider::Metadata {
namespace {

using namespace Testing;

// What the loaders say of a text, "" for success. Containers are filled before, so that what a failed load
// leaves behind shows.
struct Outcome {
  explicit Outcome(const std::string& text) : file(folder.Write("metadata.json", text)) {
    cli = Load<Cli::MetadataContainer>(ProviderHelper::LoadCliMetadataFile);
    model = Load<Metamodel::MetadataContainer>(ProviderHelper::LoadMetamodelMetadataFile);
    authn = Load<Authentication::MetadataContainer>(ProviderHelper::LoadAuthnMetadataFile);
  }

  template <typename Container, typename Loader>
  std::string Load(Loader load) const {
    const auto container = Container::GetInstance();
    EXPECT_EQ(load("com.tessaly.norn.hesper", METADATA_FILE, container), nullptr);
    const auto error = load("com.tessaly.norn.hesper", file, container);
    EXPECT_EQ(container->content().kinds.empty(), error != nullptr);
    EXPECT_EQ(container->content().fingerprint.empty(), error != nullptr);
    return error ? error->ToString() : "";
  }

  TemporaryFolder folder;
  std::string file;
  std::string cli;
  std::string model;
  std::string authn;
};

struct Fault {
  const char* pointer;
  const char* json;
  const char* expected;
};

// Every section refers to the model, so none is served without it.
TEST(MetadataFaultTest, InTheModelIsRefusedByAll) {
  const std::string deep =
      R"({"list":{"list":{"list":{"list":{"list":{"list":{"list":{"list":{"list":{}}}}}}}}}})";
  const Fault faults[] = {
      {"", "[]", "the document: expected an object"},
      {"/component", "\"a.b\"", "/component: is \"a.b\""},
      {"/a~1b~0c", "1", "/a~1b~0c: unknown member"},
      {"/metamodel", "", "member \"metamodel\" is missing"},
      {"/metamodel/structures", "{}", "/metamodel/structures: expected a list"},
      {"/metamodel/structures/0/kind", "\"UNION\"",
       "/metamodel/structures/0/kind: expected STRUCTURE or ERROR"},
      {"/metamodel/structures/0/documentation", "\"\"", "0/documentation: expected a text"},
      {"/metamodel/structures/0/fields/0/type", R"({"builtin":"FLOAT"})",
       "there is no builtin type \"FLOAT\""},
      {"/metamodel/structures/0/fields/0/type", R"({"enumeration":"a.B"})",
       "there is no enumeration \"a.B\""},
      {"/metamodel/structures/0/fields/0/type", R"({"list":{"optional":{"structure":"a.B"}}})",
       "/type/list/optional/structure: there is no structure \"a.B\""},
      {"/metamodel/structures/0/fields/0/type", "{}", "/type: expected exactly one member"},
      {"/metamodel/structures/0/fields/0/type", deep.c_str(), "nested too deeply"},
      {"/metamodel/structures/1/id", "\"com.tessaly.norn.hesper.SubscriptionSpec\"", "is there twice"},
      {"/metamodel/services/0/operations/-", R"({"id":"subscribe"})", "1/id: \"subscribe\" is there twice"},
      {"/metamodel/services/0/operations/0/errors/0/id", "\"com.tessaly.norn.hesper.VmFilterSpec\"",
       "there is no error"},
      {"/metamodel/resources/0/models/0", "\"a.B\"", "there is no structure \"a.B\""},
  };
  for (const auto& [pointer, json, expected] : faults) {
    const Outcome outcome(ChangedMetadata(pointer, json));
    EXPECT_NE(outcome.model.find(expected), std::string::npos) << outcome.model << "\nexpected: " << expected;
    EXPECT_EQ(outcome.cli, outcome.model);
    EXPECT_EQ(outcome.authn, outcome.model);
  }
}

TEST(MetadataFaultTest, OfOneSectionLeavesTheOthersAlone) {
  const Fault cliFaults[] = {
      {"/cli", "", "member \"cli\" is missing"},
      {"/cli/namespaces/0/children/0", "\"a.b\"", "there is no namespace \"a.b\""},
      {"/cli/commands/0/name", "\"listen\"", "/cli/commands/0/id: expected the namespace and the name"},
      {"/cli/commands/0/operation", "\"publish\"", "the service has no operation \"publish\""},
      {"/cli/commands/0/options/1/field", "\"spec.vm_filtre\"", "there is no argument \"spec.vm_filtre\""},
  };
  for (const auto& [pointer, json, expected] : cliFaults) {
    const Outcome outcome(ChangedMetadata(pointer, json));
    EXPECT_NE(outcome.cli.find(expected), std::string::npos) << outcome.cli;
    EXPECT_EQ(outcome.model + outcome.authn, "");
  }
  const Fault authnFaults[] = {
      {"/authentication/component/schemes/0/entries/1/name", "\"userName\"", "\"userName\" is there twice"},
      {"/authentication/packages/0/schemes/0", "\"a.b\"", "there is no scheme \"a.b\""},
      {"/authentication/packages/0/id", "\"a.b\"", "there is no package \"a.b\""},
      {"/authentication/services/0/operations/0/id", "\"publish\"", "has no operation \"publish\""},
  };
  for (const auto& [pointer, json, expected] : authnFaults) {
    const Outcome outcome(ChangedMetadata(pointer, json));
    EXPECT_NE(outcome.authn.find(expected), std::string::npos) << outcome.authn;
    EXPECT_EQ(outcome.model + outcome.cli, "");
  }
}

TEST(MetadataFaultTest, FilesThatAreNoMetadata) {
  const auto deep = std::string(1000000, '[') + std::string(1000000, ']');
  const std::pair<std::string, const char*> faults[] = {
      {"", "no JSON at byte 0"},
      {"{} {}", "no JSON at byte 3"},
      {"{\"component\":\"\xff\"}", "no JSON at byte"},
      {R"({"component":"a","component":"b"})", "/component: repeated member"},
      {R"({"component":)" + deep + R"(,"metamodel":{}})", "/component: expected a text"},
  };
  for (const auto& [text, expected] : faults) {
    EXPECT_NE(Outcome(text).model.find(expected), std::string::npos) << expected;
  }

  const auto missing =
      ProviderHelper::LoadCliMetadataFile("a", "/nowhere", Cli::MetadataContainer::GetInstance());
  ASSERT_NE(missing, nullptr);
  EXPECT_NE(missing->ToString().find("No such file"), std::string::npos) << missing->ToString();
}

}  // namespace
}  // namespace Mirel::Provider::Metadata
