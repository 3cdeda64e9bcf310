// The OpenRPC document tells the same as the metadata.

#include <gtest/gtest.h>

#include "tests/metadata/metadataDocument.h"

namespace {

using namespace MetadataTest;
using rapidjson::Value;

std::string LastPart(const std::string& id) {
  return id.substr(id.rfind('.') + 1);
}

class OpenRpc : public testing::Test {
 protected:
  const Value& Schema(const std::string& id) const {
    return At(document, "/components/schemas/" + LastPart(id));
  }

  /// A schema behind its references; a description beside a reference needs an "allOf" around it.
  const Value& Resolve(const Value& schema) const {
    if (schema.HasMember("$ref"))
      return Resolve(At(document, std::string(schema["$ref"].GetString()).substr(1)));
    if (schema.HasMember("allOf") && !schema.HasMember("title")) return Resolve(schema["allOf"][0]);
    return schema;
  }

  /// Each property that the schema and those that it extends have, with its own schema.
  std::map<std::string, const Value*> Properties(const Value& schema) const {
    std::map<std::string, const Value*> properties;
    if (schema.HasMember("allOf")) properties = Properties(Resolve(schema["allOf"][0]));
    if (schema.HasMember("properties")) {
      for (const auto& member : schema["properties"].GetObject())
        properties[member.name.GetString()] = &member.value;
    }
    return properties;
  }

  Texts Required(const Value& schema) const {
    Texts names;
    if (schema.HasMember("allOf")) names = Required(Resolve(schema["allOf"][0]));
    if (!schema.HasMember("required")) return names;
    for (const auto& name : schema["required"].GetArray()) names.insert(name.GetString());
    return names;
  }

  void ExpectType(const Value& type, const Value& schema) const {
    static const std::map<std::string, std::string> builtins = {
        {"BINARY", "string"},    {"BOOLEAN", "boolean"},
        {"DATE_TIME", "string"}, {"DYNAMIC_STRUCTURE", "object"},
        {"LONG", "integer"},     {"STRING", "string"}};
    if (type.HasMember("optional")) return ExpectType(type["optional"], schema);
    if (type.HasMember("list")) {
      ASSERT_EQ(Resolve(schema)["type"], "array");
      return ExpectType(type["list"], Resolve(schema)["items"]);
    }
    if (type.HasMember("builtin")) {
      EXPECT_EQ(Resolve(schema)["type"], builtins.at(type["builtin"].GetString()).c_str());
      return;
    }
    EXPECT_EQ(Resolve(schema)["title"], type.MemberBegin()->value);
  }

  /// Fields of a structure or parameters of an operation.
  void ExpectFields(const Value& fields, const Value& schema) const {
    const auto properties = Properties(schema);
    EXPECT_EQ(properties.size(), fields.Size());
    Texts required;
    for (const auto& field : fields.GetArray()) {
      const std::string name = field["name"].GetString();
      SCOPED_TRACE(name);
      if (!field["type"].HasMember("optional")) required.insert(name);
      ASSERT_TRUE(properties.contains(name));
      ExpectType(field["type"], *properties.at(name));
    }
    EXPECT_EQ(Required(schema), required);
  }

  const rapidjson::Document metadata = ReadJson(METADATA_FILE);
  const rapidjson::Document document = ReadJson(OPENRPC_FILE);
};

TEST_F(OpenRpc, OperationsAgree) {
  EXPECT_EQ(document["openrpc"], "1.2.6");
  const auto& methods = document["methods"];
  Texts names;
  rapidjson::SizeType next = 0;
  for (const auto& service : At(metadata, "/metamodel/services").GetArray()) {
    for (const auto& operation : service["operations"].GetArray()) {
      ASSERT_LT(next, methods.Size());
      const auto& method = methods[next++];
      EXPECT_EQ(method["name"].GetString(),
                std::string(service["id"].GetString()) + '.' + operation["id"].GetString());
      EXPECT_EQ(Collect(method["params"], "name"), (Texts{"ctx", "input"}));
      ExpectFields(operation["parameters"], At(method, "/params/0/schema"));
      ExpectType(operation["result"]["type"], method["result"]["schema"]);
      Texts errors;
      for (const auto& error : method["errors"].GetArray())
        errors.insert(Resolve(error)["message"].GetString());
      EXPECT_EQ(errors, Collect(operation["errors"], "id"));
    }
  }
  EXPECT_EQ(next, methods.Size());
}

TEST_F(OpenRpc, TypesAgree) {
  Texts described;
  for (const auto& member : At(document, "/components/schemas").GetObject()) {
    if (member.value.HasMember("title")) described.insert(member.value["title"].GetString());
  }
  auto known = Collect(At(metadata, "/metamodel/structures"), "id");
  known.merge(Collect(At(metadata, "/metamodel/enumerations"), "id"));
  EXPECT_EQ(described, known);

  for (const auto& structure : At(metadata, "/metamodel/structures").GetArray()) {
    SCOPED_TRACE(structure["id"].GetString());
    ExpectFields(structure["fields"], Schema(structure["id"].GetString()));
  }
  for (const auto& enumeration : At(metadata, "/metamodel/enumerations").GetArray()) {
    Texts values;
    for (const auto& value : Schema(enumeration["id"].GetString())["enum"].GetArray())
      values.insert(value.GetString());
    EXPECT_EQ(values, Collect(enumeration["values"], "value"));
  }
}

TEST_F(OpenRpc, SchemesAgree) {
  Texts expected;
  for (const auto& scheme : At(metadata, "/authentication/component/schemes").GetArray()) {
    std::string all = scheme["id"].GetString();
    for (const auto& entry : Collect(scheme["entries"], "name")) all += ' ' + entry;
    expected.insert(all);
  }
  Texts described;
  for (const auto& form :
       At(document, "/components/schemas/ExecutionContext/properties/securityCtx/oneOf").GetArray()) {
    auto names = Required(form);
    EXPECT_EQ(names.erase("schemeId"), 1U);
    std::string all = At(form, "/properties/schemeId/const").GetString();
    for (const auto& name : names) all += ' ' + name;
    described.insert(all);
  }
  EXPECT_EQ(described, expected);
}

}  // namespace
