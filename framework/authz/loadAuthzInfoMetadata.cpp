#include "framework/authz/loadAuthzInfoMetadata.h"

#include <algorithm>
#include <initializer_list>
#include <istream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/pointer.h>

#include "framework/authz/authzInfo.h"

namespace Mirel::Authz::Metadata {
namespace {

using Names = std::set<std::string>;

struct Fault final : std::runtime_error {
  Fault(const std::string& place, const std::string& reason) : std::runtime_error(place + ": " + reason) {}
};

std::string Text(const rapidjson::Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

// An object of which each member is known and there once.
void CheckMembers(const rapidjson::Value& object, const std::string& place,
                  std::initializer_list<std::string_view> known) {
  if (!object.IsObject()) throw Fault(place, "expected an object");
  Names seen;
  for (const auto& member : object.GetObject()) {
    const auto name = Text(member.name);
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      throw Fault(place, "unknown member \"" + name + '"');
    }
    if (!seen.insert(name).second) throw Fault(place, "repeated member \"" + name + '"');
  }
}

const rapidjson::Value& Member(const rapidjson::Value& object, const std::string& place, const char* name) {
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd()) throw Fault(place, "member \"" + std::string(name) + "\" is missing");
  return member->value;
}

// The members "id" of a list's objects. Objects of another form are passed over.
Names Identifiers(const rapidjson::Value& root, const std::string& list) {
  Names names;
  const auto* elements = rapidjson::Pointer(list.c_str(), list.size()).Get(root);
  if (!elements || !elements->IsArray()) return names;
  for (const auto& element : elements->GetArray()) {
    const auto* id = rapidjson::Pointer("/id").Get(element);
    if (id && id->IsString()) names.insert(Text(*id));
  }
  return names;
}

Names OperationNames(const rapidjson::Value& root) {
  Names names;
  const auto* services = rapidjson::Pointer("/metamodel/services").Get(root);
  if (!services || !services->IsArray()) return names;
  for (const auto& service : services->GetArray()) {
    const auto* id = rapidjson::Pointer("/id").Get(service);
    if (!id || !id->IsString()) continue;
    for (const auto& operation : Identifiers(service, "/operations")) {
      names.insert(Text(*id).append(1, '.').append(operation));
    }
  }
  return names;
}

// `what` says what the texts are, in the plural.
std::vector<std::string> ReadTexts(const rapidjson::Value& list, const std::string& place,
                                   const std::string& what) {
  // An empty list could mean everyone as well as no one.
  if (!list.IsArray() || list.Empty()) throw Fault(place, "expected a list of " + what);
  std::vector<std::string> texts;
  for (const auto& element : list.GetArray()) {
    if (!element.IsString() || element.GetStringLength() == 0) {
      throw Fault(place, "expected texts that are not empty");
    }
    if (std::find(texts.begin(), texts.end(), Text(element)) != texts.end()) {
      throw Fault(place, '"' + Text(element) + "\" is there twice");
    }
    texts.push_back(Text(element));
  }
  return texts;
}

Names ReadEntitlements(const rapidjson::Value& list, const std::string& place) {
  const auto texts = ReadTexts(list, place, "entitlements");
  return {texts.begin(), texts.end()};
}

std::string TextMember(const rapidjson::Value& object, const std::string& place, const char* name) {
  const auto& member = Member(object, place, name);
  if (!member.IsString() || member.GetStringLength() == 0) {
    throw Fault(place, "member \"" + std::string(name) + "\" is not a text, or an empty one");
  }
  return Text(member);
}

MethodCollectionPrivilege ReadRequirement(const rapidjson::Value& object, const std::string& place) {
  CheckMembers(object, place, {"object", "argument", "type", "privileges"});
  if (object.HasMember("object") == object.HasMember("argument")) {
    throw Fault(place, "expected one of \"object\" and \"argument\"");
  }
  MethodCollectionPrivilege requirement;
  const bool fixed = object.HasMember("object");
  (fixed ? requirement.object : requirement.argument) =
      TextMember(object, place, fixed ? "object" : "argument");
  requirement.type = TextMember(object, place, "type");
  requirement.privileges = std::make_shared<const std::vector<std::string>>(
      ReadTexts(Member(object, place, "privileges"), place, "privileges"));
  return requirement;
}

MethodCollectionPrivileges ReadRequirements(const rapidjson::Value& list, const std::string& place) {
  if (!list.IsArray() || list.Empty()) throw Fault(place, "expected a list of requirements");
  MethodCollectionPrivileges requirements;
  for (const auto& element : list.GetArray()) requirements.push_back(ReadRequirement(element, place));
  return requirements;
}

// A table from names that the model knows to what `read` makes of their values.
template <typename Entry>
std::map<std::string, Entry> ReadTable(const rapidjson::Value& section, const char* name, const Names& known,
                                       Entry (*read)(const rapidjson::Value&, const std::string& place)) {
  const std::string place = std::string("/authorization/") + name;
  const auto& object = Member(section, "/authorization", name);
  if (!object.IsObject()) throw Fault(place, "expected an object");
  std::map<std::string, Entry> table;
  for (const auto& member : object.GetObject()) {
    const auto key = Text(member.name);
    if (!known.contains(key)) throw Fault(place, "the model has no \"" + key + '"');
    if (!table.emplace(key, read(member.value, (place + '/').append(key))).second) {
      throw Fault(place, "repeated member \"" + key + '"');
    }
  }
  return table;
}

void ReadTables(std::istream& file, AuthzInfo& info) {
  rapidjson::IStreamWrapper stream(file);
  rapidjson::Document root;
  // Without recursion, so that no nesting ends the process.
  root.ParseStream<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(stream);
  if (root.HasParseError()) {
    throw Fault("byte " + std::to_string(root.GetErrorOffset()),
                rapidjson::GetParseError_En(root.GetParseError()));
  }
  CheckMembers(root, "the document", {"component", "metamodel", "cli", "authentication", "authorization"});
  const auto& section = Member(root, "the document", "authorization");
  CheckMembers(section, "/authorization", {"operations", "services", "packages", "privileges"});
  const auto operationNames = OperationNames(root);
  auto operations = ReadTable(section, "operations", operationNames, &ReadEntitlements);
  auto services = ReadTable(section, "services", Identifiers(root, "/metamodel/services"), &ReadEntitlements);
  auto packages = ReadTable(section, "packages", Identifiers(root, "/metamodel/packages"), &ReadEntitlements);
  PrivilegeTable privileges;
  if (section.HasMember("privileges")) {
    privileges = ReadTable(section, "privileges", operationNames, &ReadRequirements);
  }
  info.operationEntitlements = std::move(operations);
  info.serviceEntitlements = std::move(services);
  info.packageEntitlements = std::move(packages);
  info.operationPrivileges = std::move(privileges);
}

}  // namespace

bool LoadAuthzInfoMetadata::Load(std::istream& file, const std::shared_ptr<AuthzInfo>& info,
                                 const std::shared_ptr<Log::Logger>& logger, MessageList& messages) {
  try {
    ReadTables(file, *info);
    return true;
  } catch (const Fault& fault) {
    Log::Write(logger, Log::SeverityLevel::Error, "Authorization metadata: ", fault.what());
    messages.push_back({"mirel.authz.metadata.invalid", fault.what(), {fault.what()}});
    return false;
  }
}

}  // namespace Mirel::Authz::Metadata
