#include "apps/nornhesperd/publicationSchema.h"

#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include "apps/nornhesperd/globalContext.h"
#include "apps/nornhesperd/logMessage.h"

namespace NornHesper {
namespace {

constexpr char kSchemaText[] =
    R"({   "type":"object",   "required":[      "header",      "payload"   ],   "properties":{)"
    R"(      "header":{         "type":"object",         "required":[            "sequence",)"
    R"(            "createTime",            "topic",            "token"         ],)"
    R"(         "properties":{            "sequence":{)"
    R"(               "type":"integer"            },            "createTime":{)"
    R"(               "type":"string"            },            "topic":{)"
    R"(               "type":"string"            },            "token":{)"
    R"(               "type":"string"            }         }      },      "payload":{)"
    R"(         "type":"object",         "required":[            "category",)"
    R"(            "base64"         ],         "properties":{            "category":{)"
    R"(               "type":"string"            },            "base64":{)"
    R"(               "type":"string"            }         }      }   }})";
static_assert(sizeof(kSchemaText) == 851 + 1);

std::string ToUriFragment(const rapidjson::Pointer& pointer) {
  rapidjson::StringBuffer buffer;
  pointer.StringifyUriFragment(buffer);
  return {buffer.GetString(), buffer.GetSize()};
}

// Null when the schema part says nothing about the member.
const rapidjson::Value* FindMemberSchema(const rapidjson::Value& schema, const rapidjson::Value& name) {
  const auto properties = schema.FindMember("properties");
  if (properties == schema.MemberEnd()) return nullptr;
  const auto member = properties->value.FindMember(name);
  return member == properties->value.MemberEnd() ? nullptr : &member->value;
}

// Shows the value to the validator, leaving out what the schema doesn't name: it allows anything there, and
// the validator's time for a nested value grows with the square of its depth, which is the sender's choice.
// So the recursion is as deep as the schema and no deeper.
bool Feed(const rapidjson::Value& value, const rapidjson::Value& schema,
          rapidjson::SchemaValidator& validator) {
  if (value.IsArray()) return validator.StartArray() && validator.EndArray(value.Size());
  if (!value.IsObject()) return value.Accept(validator);
  if (!validator.StartObject()) return false;
  for (const auto& member : value.GetObject()) {
    const rapidjson::Value* memberSchema = FindMemberSchema(schema, member.name);
    if (memberSchema == nullptr) continue;
    if (!validator.Key(member.name.GetString(), member.name.GetStringLength(), false) ||
        !Feed(member.value, *memberSchema, validator)) {
      return false;
    }
  }
  return validator.EndObject(value.MemberCount());
}

}  // namespace

std::string_view PublicationSchema::Text() {
  return kSchemaText;
}

PublicationSchema::PublicationSchema() = default;
PublicationSchema::~PublicationSchema() = default;

Result PublicationSchema::Init() {
  Result result;
  auto source = std::make_unique<rapidjson::Document>();
  source->Parse(kSchemaText, sizeof(kSchemaText) - 1);
  if (source->HasParseError()) {
    HESPER_FAIL(result, kErrorStartup, "failed to parse the publication schema");
    return result;
  }
  schema_ = std::make_unique<rapidjson::SchemaDocument>(*source);
  source_ = std::move(source);
  return result;
}

std::optional<PublicationSchema::Mismatch> PublicationSchema::Check(const rapidjson::Value& document) const {
  rapidjson::SchemaValidator validator(*schema_);
  if (Feed(document, *source_, validator)) return std::nullopt;
  return Mismatch{ToUriFragment(validator.GetInvalidSchemaPointer()), validator.GetInvalidSchemaKeyword(),
                  ToUriFragment(validator.GetInvalidDocumentPointer())};
}

}  // namespace NornHesper
