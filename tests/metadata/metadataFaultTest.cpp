// Files that are not as they should be: each is refused by the section that it concerns, with its place.

#include <gtest/gtest.h>

#include <unistd.h>

#include "framework/metadata/providerHelper.h"
#include "tests/metadata/metadataDocument.h"

namespace Mirel::Provider::Metadata {
namespace {

using namespace MetadataTest;

constexpr char kComponent[] = "com.tessaly.norn.hesper";

/// A file that is gone at the end of the test.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& text) {
    const int descriptor = mkstemp(name_);
    EXPECT_EQ(write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    close(descriptor);
  }
  ~TemporaryFile() { unlink(name_); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const char* name() const { return name_; }

 private:
  char name_[32] = "/tmp/metadata-XXXXXX";
};

/// What the three loaders say of a text, "" for success. Containers are filled before, so that what a failed
/// load leaves behind shows.
struct Outcome {
  explicit Outcome(const std::string& text) {
    const TemporaryFile file(text);
    cli = Load(ProviderHelper::LoadCliMetadataFile, *Cli::MetadataContainer::GetInstance(), file);
    model =
        Load(ProviderHelper::LoadMetamodelMetadataFile, *Metamodel::MetadataContainer::GetInstance(), file);
    authn =
        Load(ProviderHelper::LoadAuthnMetadataFile, *Authentication::MetadataContainer::GetInstance(), file);
  }

  template <typename Loader, typename Container>
  static std::string Load(Loader load, const Container& /*kind*/, const TemporaryFile& file) {
    const auto container = Container::GetInstance();
    EXPECT_EQ(load(kComponent, METADATA_FILE, container), nullptr);
    const auto error = load(kComponent, file.name(), container);
    EXPECT_EQ(container->content().kinds.empty(), error != nullptr);
    EXPECT_EQ(container->content().fingerprint.empty(), error != nullptr);
    return error ? error->ToString() : "";
  }

  std::string cli;
  std::string model;
  std::string authn;
};

struct Fault {
  const char* pointer;
  const char* json;
  const char* expected;
};

void PrintTo(const Fault& fault, std::ostream* out) {
  *out << fault.pointer << " = " << fault.json;
}

class ModelFault : public testing::TestWithParam<Fault> {};

// Every section refers to the model, so none is served without it.
TEST_P(ModelFault, IsRefusedByAll) {
  const Outcome outcome(ChangedMetadata(GetParam().pointer, GetParam().json));
  EXPECT_NE(outcome.model.find(GetParam().expected), std::string::npos) << outcome.model;
  EXPECT_EQ(outcome.cli, outcome.model);
  EXPECT_EQ(outcome.authn, outcome.model);
}

#define SERVICE "/metamodel/services/0"
#define OPERATION SERVICE "/operations/0"
#define STRUCTURE "/metamodel/structures/0"
#define NESTED R"({"optional":{"list":{"optional":{"list":)"

INSTANTIATE_TEST_SUITE_P(
    Files, ModelFault,
    testing::Values(
        Fault{"", "[]", "the document: expected an object"},
        Fault{"/component", R"("com.tessaly.other")", "/component: is \"com.tessaly.other\""},
        Fault{"/coment", "1", "/coment: unknown member"}, Fault{"/a~1b~0c", "1", "/a~1b~0c: unknown member"},
        Fault{"/metamodel", "", "member \"metamodel\" is missing"},
        Fault{"/metamodel/structures", "{}", "/metamodel/structures: expected a list"},
        Fault{STRUCTURE "/documentation", R"("")", STRUCTURE "/documentation: expected a text"},
        Fault{STRUCTURE "/kind", R"("UNION")", STRUCTURE "/kind: expected STRUCTURE or ERROR"},
        Fault{STRUCTURE "/fields/1/name", R"("vm_id_type")",
              STRUCTURE "/fields/1/name: \"vm_id_type\" is there twice"},
        Fault{STRUCTURE "/fields/0/type", R"({"builtin":"FLOAT"})",
              "type/builtin: there is no builtin type \"FLOAT\""},
        Fault{STRUCTURE "/fields/0/type", R"({"structure":"a.B"})", "there is no structure \"a.B\""},
        Fault{STRUCTURE "/fields/0/type", R"({"enumeration":"a.B"})", "there is no enumeration \"a.B\""},
        Fault{STRUCTURE "/fields/0/type", R"({"list":{"optional":{"structure":"a.B"}}})",
              "/type/list/optional/structure: there is no structure"},
        Fault{STRUCTURE "/fields/0/type", "{}", "/type: expected exactly one member"},
        Fault{STRUCTURE "/fields/0/type",
              NESTED NESTED NESTED "1"
                                   "}}}}"
                                   "}}}}"
                                   "}}}}",
              "nested too deeply"},
        Fault{"/metamodel/structures/1/id", R"("com.tessaly.norn.hesper.SubscriptionSpec")",
              "is there twice"},
        Fault{"/metamodel/enumerations/0/values", "[]", "values: expected at least one value"},
        Fault{"/metamodel/enumerations/0/values/1/value", R"("MGR_VM_ID")", "is there twice"},
        Fault{SERVICE "/hidden", "1", SERVICE "/hidden: expected true or false"},
        Fault{OPERATION "/result/stream", R"("yes")", OPERATION "/result/stream: expected true or false"},
        Fault{OPERATION "/errors/0/id", R"("com.tessaly.norn.hesper.VmFilterSpec")", "there is no error"},
        Fault{OPERATION "/parameters/0/type/structure", R"("com.tessaly.mirel.std.errors.unsupported")",
              "there is no structure"},
        Fault{SERVICE "/operations/-", R"({"id":"subscribe"})",
              SERVICE "/operations/1/id: \"subscribe\" is there twice"},
        Fault{"/metamodel/packages/0/services/0", R"("a.b")", "there is no service \"a.b\""},
        Fault{"/metamodel/component/packages/0", R"("a.b")", "there is no package \"a.b\""},
        Fault{"/metamodel/resources/0/models/0", R"("a.B")", "there is no structure \"a.B\""}));

TEST(MetadataFault, OfOneSectionLeavesTheOthersAlone) {
  const Fault cliFaults[] = {
      {"/cli", "", "member \"cli\" is missing"},
      {"/cli/namespaces/0/children/0", R"("a.b")", "there is no namespace \"a.b\""},
      {"/cli/commands/0/namespace", R"("a.b")", "there is no namespace \"a.b\""},
      {"/cli/commands/0/name", R"("listen")", "/cli/commands/0/id: expected the namespace and the name"},
      {"/cli/commands/0/operation", R"("publish")", "the service has no operation \"publish\""},
      {"/cli/commands/0/options/1/field", R"("spec.vm_filtre")", "there is no argument \"spec.vm_filtre\""},
  };
  for (const auto& fault : cliFaults) {
    const Outcome outcome(ChangedMetadata(fault.pointer, fault.json));
    EXPECT_NE(outcome.cli.find(fault.expected), std::string::npos) << outcome.cli;
    EXPECT_EQ(outcome.model + outcome.authn, "");
  }
  const Fault authnFaults[] = {
      {"/authentication", "", "member \"authentication\" is missing"},
      {"/authentication/component/schemes/0/entries/1/name", R"("userName")", "\"userName\" is there twice"},
      {"/authentication/packages/0/schemes/0", R"("a.b")", "there is no scheme \"a.b\""},
      {"/authentication/packages/0/id", R"("a.b")", "there is no package \"a.b\""},
      {"/authentication/services/0/id", R"("a.b")", "there is no service \"a.b\""},
      {"/authentication/services/0/operations/0/id", R"("publish")", "has no operation \"publish\""},
  };
  for (const auto& fault : authnFaults) {
    const Outcome outcome(ChangedMetadata(fault.pointer, fault.json));
    EXPECT_NE(outcome.authn.find(fault.expected), std::string::npos) << outcome.authn;
    EXPECT_EQ(outcome.model + outcome.cli, "");
  }
}

TEST(MetadataFault, FilesThatAreNoJson) {
  EXPECT_NE(Outcome("").model.find("no JSON at byte 0"), std::string::npos);
  EXPECT_NE(Outcome("{} {}").model.find("no JSON at byte 3"), std::string::npos);
  EXPECT_NE(Outcome("{\"component\":\"\xff\"}").model.find("no JSON at byte"), std::string::npos);
  EXPECT_NE(Outcome(R"({"component":"a","component":"b","metamodel":{}})").model.find("repeated member"),
            std::string::npos);
  // Deeper than any stack.
  EXPECT_NE(Outcome(std::string(2000000, '[')).model.find("no JSON at byte 2000000"), std::string::npos);

  const auto container = Metamodel::MetadataContainer::GetInstance();
  const auto error = ProviderHelper::LoadMetamodelMetadataFile(kComponent, "/nowhere/file.json", container);
  ASSERT_NE(error, nullptr);
  EXPECT_NE(error->ToString().find("No such file"), std::string::npos) << error->ToString();
}

}  // namespace
}  // namespace Mirel::Provider::Metadata
