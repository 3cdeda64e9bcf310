#include "framework/metadata/sections.h"

#include <cstdint>

namespace Mirel::Provider::Metadata {
namespace {

using Data::DataValue;
using Data::DataValuePtr;

// As deep as the value, which the checks have bounded.
DataValuePtr ToDataValue(const rapidjson::Value& value, const std::string& structureName) {
  switch (value.GetType()) {
    case rapidjson::kNullType:
      return Data::VoidValue::GetInstance();
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
      return DataValue::Create(value.GetBool());
    case rapidjson::kNumberType:
      return value.IsInt64() ? DataValue::Create(std::int64_t{value.GetInt64()})
                             : DataValue::Create(value.GetDouble());
    case rapidjson::kStringType:
      return DataValue::Create(std::string(value.GetString(), value.GetStringLength()));
    case rapidjson::kArrayType: {
      auto list = Data::ListValue::GetInstance();
      for (const auto& element : value.GetArray()) list->Add(ToDataValue(element, structureName));
      return list;
    }
    case rapidjson::kObjectType: {
      auto structure = Data::StructValue::GetInstance(structureName);
      for (const auto& member : value.GetObject()) {
        const std::string name(member.name.GetString(), member.name.GetStringLength());
        structure->AppendField(name, ToDataValue(member.value, DottedName(structureName, name)));
      }
      return structure;
    }
  }
  return nullptr;
}

}  // namespace

std::string DottedName(const std::string& owner, const std::string& name) {
  return std::string(owner).append(1, '.').append(name);
}

void ExpectKnown(const JsonNode& name, const std::set<std::string>& names, const std::string& what) {
  if (!names.contains(name.Text())) name.Fail("there is no " + what + " \"" + name.Text() + '"');
}

void AddEntry(Content& content, const std::string& kind, const JsonNode& object, const std::string& owner) {
  content.kinds[kind][owner].emplace(object.Text("id"), ToDataValue(object.value(), kind + ".info"));
}

void AddEntries(Content& content, const std::string& kind, const JsonNode& list, const std::string& owner) {
  content.kinds[kind][owner];
  for (const auto& object : list.Elements()) AddEntry(content, kind, object, owner);
}

}  // namespace Mirel::Provider::Metadata
