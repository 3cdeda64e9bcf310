// The metadata says what the code does on the wire.

#include <gtest/gtest.h>

#include "bindings/guestDataAdapter.h"
#include "bindings/statsAdapter.h"
#include "bindings/subscriptionSpecReader.h"
#include "framework/core/stdErrors.h"
#include "framework/provider/errorFactory.h"
#include "testing/metadataDocument.h"

namespace {

using namespace Testing;
using namespace Com::Tessaly::Norn::Hesper;
namespace Errors = Com::Tessaly::Mirel::Std::Errors;

class WireAgreementTest : public testing::Test {
 protected:
  Texts Fields(const std::string& structure) const {
    return Collect(ById(At(file, "/metamodel/structures"), structure)["fields"], "name");
  }

  static Texts Fields(const Mirel::Data::DataValuePtr& value) {
    Texts names;
    for (const auto& [name, field] : dynamic_cast<const Mirel::Data::CompoundValue&>(*value).fields()) {
      names.insert(name);
    }
    return names;
  }

  template <typename Error>
  void ExpectError() const {
    const auto error = Mirel::Data::ErrorFactory::GetError(Error(), Mirel::Data::ListValue::GetInstance());
    EXPECT_EQ(Fields(error), Fields(error->name()));
    const auto& optional = dynamic_cast<const Mirel::Data::OptionalValue&>(*error->GetField("error_type"));
    const auto& type = dynamic_cast<const Mirel::Data::StringValue&>(*optional.value()).value();
    const auto& kinds = ById(At(file, "/metamodel/enumerations"), "com.tessaly.mirel.std.errors.ErrorType");
    EXPECT_TRUE(Collect(kinds["values"], "value").contains(type)) << type;
    EXPECT_TRUE(Collect(At(file, "/metamodel/services/0/operations/0/errors"), "id").contains(error->name()));
  }

  const rapidjson::Document file = ReadJson(METADATA_FILE);
};

// The reader refuses what it does not know: it has to know everything described.
TEST_F(WireAgreementTest, Arguments) {
  using namespace Mirel::Data;
  const auto absent = [](const Texts& names) {
    auto structure = StructValue::GetInstance("");
    for (const auto& name : names) structure->AppendField(name, VoidValue::GetInstance());
    return structure;
  };
  auto vms = ListValue::GetInstance();
  vms->Add(absent(Fields("com.tessaly.norn.hesper.VmFilterSpec")));
  auto spec = absent(Fields("com.tessaly.norn.hesper.SubscriptionSpec"));
  spec->SetField("vm_id_type", DataValue::Create("BIOS_UUID"));
  spec->SetField("vm_filter", vms);
  auto arguments = absent(Collect(At(file, "/metamodel/services/0/operations/0/parameters"), "name"));
  arguments->SetField("spec", spec);
  EXPECT_EQ(ReadSubscribeArguments(arguments).vmFilter->size(), 1U);
}

TEST_F(WireAgreementTest, Elements) {
  Mirel::MessageList messages;
  const Mirel::Data::DataValuePtr value = Mirel::Data::AdaptMethod<ApplicationPublishResult>::Get()(
      ApplicationPublishResult(), Mirel::L10n::MakeDefaultRequestLocalizer(), messages);
  EXPECT_EQ(Fields(value), Fields(ApplicationPublishResult::kStructureName));
  const auto& kinds = ById(At(file, "/metamodel/enumerations"), "com.tessaly.norn.hesper.VmIdentifierType");
  EXPECT_EQ(Collect(kinds["values"], "value"), Texts(std::begin(VmIdentifierType::Strings::values),
                                                     std::end(VmIdentifierType::Strings::values)));
}

TEST_F(WireAgreementTest, Numbers) {
  using namespace Mirel::Data;
  Mirel::MessageList messages;
  const auto value = AdaptMethod<Stats>::Get()(Stats(), Mirel::L10n::MakeDefaultRequestLocalizer(), messages);
  const auto& stats = dynamic_cast<const CompoundValue&>(*value);
  const auto& structures = At(file, "/metamodel/structures");
  for (const auto& field : ById(structures, stats.name())["fields"].GetArray()) {
    const auto part = stats.GetField(field["name"].GetString());
    ASSERT_NE(part, nullptr) << field["name"].GetString();
    if (part->type() == DataType::String) continue;
    const auto& numbers = dynamic_cast<const CompoundValue&>(*part);
    EXPECT_EQ(field["type"]["structure"].GetString(), numbers.name());
    EXPECT_EQ(Fields(part), Fields(numbers.name()));
    for (const auto& number : ById(structures, numbers.name())["fields"].GetArray()) {
      EXPECT_STREQ(number["type"]["builtin"].GetString(), "LONG");
    }
    for (const auto& [name, number] : numbers.fields()) EXPECT_EQ(number->type(), DataType::Integer) << name;
  }
  EXPECT_EQ(Fields(value), Fields(stats.name()));
}

TEST_F(WireAgreementTest, ErrorsAndMessages) {
  ExpectError<Errors::InvalidArgument>();
  ExpectError<Errors::Unsupported>();
  ExpectError<Errors::UnexpectedInput>();
  ExpectError<Errors::Unauthenticated>();
  ExpectError<Errors::Unauthorized>();
  ExpectError<Errors::InternalServerError>();
  EXPECT_EQ(Fields(Mirel::Data::MessageToValue({})), Fields("com.tessaly.mirel.std.localizable_message"));
}

// The names of a schema's properties, with those of the schema that it extends.
Texts Properties(const rapidjson::Value& document, const rapidjson::Value& schema) {
  Texts names;
  if (schema.HasMember("allOf")) {
    const std::string base = At(schema, "/allOf/0/$ref").GetString();
    names = Properties(document, At(document, base.substr(1)));
  }
  if (!schema.HasMember("properties")) return names;
  for (const auto& member : schema["properties"].GetObject()) names.insert(member.name.GetString());
  return names;
}

TEST_F(WireAgreementTest, OpenRpcDocument) {
  const auto document = ReadJson(OPENRPC_FILE);
  const auto schema = [&](const rapidjson::Value& described) -> const rapidjson::Value& {
    const std::string id = described["id"].GetString();
    return At(document, "/components/schemas/" + id.substr(id.rfind('.') + 1));
  };
  for (const auto& structure : At(file, "/metamodel/structures").GetArray()) {
    EXPECT_EQ(Properties(document, schema(structure)), Collect(structure["fields"], "name"));
  }
  for (const auto& enumeration : At(file, "/metamodel/enumerations").GetArray()) {
    Texts values;
    for (const auto& value : schema(enumeration)["enum"].GetArray()) values.insert(value.GetString());
    EXPECT_EQ(values, Collect(enumeration["values"], "value"));
  }
}

}  // namespace
