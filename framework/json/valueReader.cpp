#include "framework/json/valueReader.h"

#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "framework/json/requestParser.h"
#include "platform/corvane/crypto.h"

namespace Mirel::Protocol::Json {
namespace {

using namespace Data;

// Where a value is. Its text is made only for a fault, as it repeats the names of all outer values.
class Place {
 public:
  explicit Place(std::string_view root) : name_(root) {}
  Place(const Place& outer, std::string_view name) : outer_(&outer), name_(name) {}
  Place(const Place& outer, std::size_t index) : outer_(&outer), index_(index) {}

  std::string ToString() const {
    if (!outer_) return std::string(name_);
    if (index_) return outer_->ToString() + "[" + std::to_string(*index_) + "]";
    return outer_->ToString() + "." + Quoted(name_);
  }

 private:
  const Place* outer_ = nullptr;
  std::string_view name_;
  std::optional<std::size_t> index_;
};

DataValuePtr ReadAt(const rapidjson::Value& json, const Place& place);

void ReadFields(const rapidjson::Value& json, const Place& place, CompoundValue& out) {
  RequireDistinctNames(json);
  for (const auto& member : json.GetObject()) {
    auto name = Text(member.name);
    auto value = ReadAt(member.value, Place(place, name));
    out.AppendField(std::move(name), std::move(value));
  }
}

DataValuePtr ReadBlob(const rapidjson::Value& json, const Place& place) {
  std::vector<unsigned char> bytes(Base64_DecodedLength(json.GetString(), json.GetStringLength()));
  std::size_t written = 0;
  if (!Base64_Decode(json.GetString(), json.GetStringLength(), bytes.data(), bytes.size(), &written)) {
    throw RequestFault(place.ToString() + ": invalid base64");
  }
  bytes.resize(written);
  return BlobValue::Create(std::move(bytes));
}

DataValuePtr ReadOptional(const rapidjson::Value& json, const Place& place) {
  if (json.Size() > 1) throw RequestFault(place.ToString() + ": an optional holds one value at most");
  return std::make_shared<OptionalValue>(json.Empty() ? nullptr : ReadAt(json[0], place));
}

template <typename Compound>
DataValuePtr ReadCompound(const rapidjson::Value& name, const rapidjson::Value& fields, const Place& place) {
  auto value = std::make_shared<Compound>(Text(name));
  ReadFields(fields, place, *value);
  return value;
}

// Null when the object is none of the typed forms.
DataValuePtr ReadTypedForm(const rapidjson::Value& json, const Place& place) {
  const auto first = json.MemberBegin();
  if (json.MemberCount() == 1) {
    if (first->name == "blob" && first->value.IsString()) return ReadBlob(first->value, place);
    if (first->name == "secret" && first->value.IsString()) {
      return std::make_shared<SecretValue>(Text(first->value));
    }
    if (first->name == "optional" && first->value.IsArray()) return ReadOptional(first->value, place);
  }
  if (json.MemberCount() == 2) {
    const auto fields = json.FindMember("fields");
    if (fields == json.MemberEnd() || !fields->value.IsObject()) return nullptr;
    const auto& name = fields == first ? *(first + 1) : *first;
    if (name.name == "structure" && name.value.IsString()) {
      return ReadCompound<StructValue>(name.value, fields->value, place);
    }
    if (name.name == "error" && name.value.IsString()) {
      return ReadCompound<ErrorValue>(name.value, fields->value, place);
    }
  }
  return nullptr;
}

DataValuePtr ReadObject(const rapidjson::Value& json, const Place& place) {
  if (auto typed = ReadTypedForm(json, place)) return typed;
  auto value = StructValue::GetInstance("");
  ReadFields(json, place, *value);
  return value;
}

DataValuePtr ReadArray(const rapidjson::Value& json, const Place& place) {
  auto list = ListValue::GetInstance();
  for (const auto& element : json.GetArray()) {
    list->Add(ReadAt(element, Place(place, list->elements().size())));
  }
  return list;
}

DataValuePtr ReadAt(const rapidjson::Value& json, const Place& place) {
  if (json.IsString()) return DataValue::Create(Text(json));
  if (json.IsObject()) return ReadObject(json, place);
  if (json.IsArray()) return ReadArray(json, place);
  if (json.IsBool()) return DataValue::Create(json.GetBool());
  if (json.IsInt64()) return DataValue::Create(json.GetInt64());
  if (json.IsNumber()) return DataValue::Create(json.GetDouble());
  return std::make_shared<OptionalValue>(nullptr);
}

}  // namespace

DataValuePtr ReadValue(const rapidjson::Value& json, const std::string& place) {
  return ReadAt(json, Place(place));
}

}  // namespace Mirel::Protocol::Json
