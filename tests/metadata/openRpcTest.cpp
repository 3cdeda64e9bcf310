// The OpenRPC document tells the same as the metadata: both are brought into one short form and compared.

#include <gtest/gtest.h>

#include "tests/metadata/metadataDocument.h"

namespace {

using namespace MetadataTest;
using rapidjson::Value;

std::string Last(const std::string& name) {
  return name.substr(name.find_last_of("./") + 1);
}

// "list STRING" or the last part of a type's name.
std::string MetadataType(const Value& type) {
  const auto& inner = type.MemberBegin()->value;
  if (type.HasMember("optional")) return MetadataType(inner);
  if (type.HasMember("list")) return "list " + MetadataType(inner);
  return Last(inner.GetString());
}

std::string SchemaType(const Value& schema) {
  static const std::map<std::string, std::string> builtins = {{"string", "STRING"},
                                                              {"string base64", "BINARY"},
                                                              {"string date-time", "DATE_TIME"},
                                                              {"object", "DYNAMIC_STRUCTURE"},
                                                              {"integer int64", "LONG"},
                                                              {"boolean", "BOOLEAN"}};
  if (schema.HasMember("$ref")) return Last(schema["$ref"].GetString());
  // A description beside a reference needs an "allOf" around it.
  if (schema.HasMember("allOf")) return SchemaType(schema["allOf"][0]);
  std::string type = schema["type"].GetString();
  if (type == "array") return "list " + SchemaType(schema["items"]);
  for (const char* detail : {"format", "contentEncoding"}) {
    if (schema.HasMember(detail)) type += ' ' + std::string(schema[detail].GetString());
  }
  return builtins.at(type);
}

// "name: type", or "name?: type" of a field that may be absent.
Texts MetadataFields(const Value& fields) {
  Texts texts;
  for (const auto& field : fields.GetArray()) {
    const char* separator = field["type"].HasMember("optional") ? "?: " : ": ";
    texts.insert(field["name"].GetString() + (separator + MetadataType(field["type"])));
  }
  return texts;
}

class OpenRpc : public testing::Test {
 protected:
  Texts SchemaFields(const Value& schema) const {
    Texts texts;
    if (schema.HasMember("allOf")) texts = SchemaFields(Referred(schema["allOf"][0]));
    if (!schema.HasMember("properties")) return texts;
    Texts required;
    if (schema.HasMember("required")) {
      for (const auto& name : schema["required"].GetArray()) required.insert(name.GetString());
    }
    for (const auto& member : schema["properties"].GetObject()) {
      const std::string name = member.name.GetString();
      texts.insert(name + (required.erase(name) ? ": " : "?: ") + SchemaType(member.value));
    }
    EXPECT_TRUE(required.empty()) << *required.begin();
    return texts;
  }

  const Value& Referred(const Value& reference) const {
    return At(document, std::string(reference["$ref"].GetString()).substr(1));
  }
  const Value& Schema(const Value& described) const {
    return At(document, "/components/schemas/" + Last(described["id"].GetString()));
  }

  const rapidjson::Document metadata = ReadJson(METADATA_FILE);
  const rapidjson::Document document = ReadJson(OPENRPC_FILE);
};

TEST_F(OpenRpc, OperationsAgree) {
  const auto& service = At(metadata, "/metamodel/services/0");
  const auto& operation = At(service, "/operations/0");
  ASSERT_EQ(document["methods"].Size(), service["operations"].Size());
  const auto& method = At(document, "/methods/0");
  EXPECT_EQ(method["name"].GetString(),
            service["id"].GetString() + (std::string(".") + operation["id"].GetString()));
  EXPECT_EQ(SchemaFields(At(method, "/params/0/schema")), MetadataFields(operation["parameters"]));
  EXPECT_EQ(SchemaType(At(method, "/result/schema")), MetadataType(At(operation, "/result/type")));
  Texts errors;
  for (const auto& error : method["errors"].GetArray()) errors.insert(Referred(error)["message"].GetString());
  EXPECT_EQ(errors, Collect(operation["errors"], "id"));
}

TEST_F(OpenRpc, TypesAgree) {
  const auto& structures = At(metadata, "/metamodel/structures");
  const auto& enumerations = At(metadata, "/metamodel/enumerations");
  Texts described;
  for (const auto& member : At(document, "/components/schemas").GetObject()) {
    if (member.value.HasMember("title")) described.insert(member.value["title"].GetString());
  }
  auto known = Collect(structures, "id");
  known.merge(Collect(enumerations, "id"));
  EXPECT_EQ(described, known);

  for (const auto& structure : structures.GetArray())
    EXPECT_EQ(SchemaFields(Schema(structure)), MetadataFields(structure["fields"]))
        << structure["id"].GetString();
  for (const auto& enumeration : enumerations.GetArray()) {
    Texts values;
    for (const auto& value : Schema(enumeration)["enum"].GetArray()) values.insert(value.GetString());
    EXPECT_EQ(values, Collect(enumeration["values"], "value"));
  }
}

}  // namespace
