#include <algorithm>
#include <array>
#include <string_view>

#include "framework/metadata/sections.h"

namespace Mirel::Provider::Metadata {
namespace {

constexpr std::array<std::string_view, 8> kBuiltins = {"BINARY", "BOOLEAN", "DATE_TIME", "DYNAMIC_STRUCTURE",
                                                       "LONG",   "SECRET",  "STRING",    "VOID"};
// Of optionals and lists inside each other: far more than any type needs.
constexpr int kMaxTypeDepth = 8;

using StructureFields = std::map<std::string, std::set<std::string>>;

void CheckType(const JsonNode& type, const ModelNames& names, int depth = 0) {
  if (depth > kMaxTypeDepth) type.Fail("the type is nested too deeply");
  type.ExpectMembers({}, {"builtin", "structure", "enumeration", "list", "optional"});
  if (type.value().MemberCount() != 1) type.Fail("expected exactly one member");
  if (type.HasMember("builtin")) {
    const auto builtin = type.Member("builtin");
    const auto text = builtin.Text();
    if (std::find(kBuiltins.begin(), kBuiltins.end(), text) == kBuiltins.end()) {
      builtin.Fail("there is no builtin type \"" + text + '"');
    }
  } else if (type.HasMember("structure")) {
    ExpectKnown(type.Member("structure"), names.structures, "structure");
  } else if (type.HasMember("enumeration")) {
    ExpectKnown(type.Member("enumeration"), names.enumerations, "enumeration");
  } else {
    CheckType(type.Member(type.HasMember("list") ? "list" : "optional"), names, depth + 1);
  }
}

void CheckFields(const JsonNode& fields, const ModelNames& names) {
  fields.Texts("name");
  for (const auto& field : fields.Elements()) {
    field.ExpectMembers({"name", "type", "documentation"});
    field.Text("documentation");
    CheckType(field.Member("type"), names);
  }
}

bool IsError(const JsonNode& structure) {
  const auto kind = structure.Member("kind");
  if (kind.Text() != "STRUCTURE" && kind.Text() != "ERROR") kind.Fail("expected STRUCTURE or ERROR");
  return kind.Text() == "ERROR";
}

void CheckStructure(const JsonNode& structure, const ModelNames& names) {
  structure.ExpectMembers({"id", "kind", "documentation", "fields"});
  structure.Text("documentation");
  CheckFields(structure.Member("fields"), names);
}

void CheckEnumeration(const JsonNode& enumeration) {
  enumeration.ExpectMembers({"id", "documentation", "values"});
  enumeration.Text("documentation");
  const auto values = enumeration.Member("values");
  if (values.Texts("value").empty()) values.Fail("expected at least one value");
  for (const auto& value : values.Elements()) {
    value.ExpectMembers({"value", "documentation"});
    value.Text("documentation");
  }
}

void CheckOperation(const JsonNode& operation, const ModelNames& names) {
  operation.ExpectMembers({"id", "documentation", "parameters", "result", "errors"});
  operation.Text("documentation");
  CheckFields(operation.Member("parameters"), names);
  const auto result = operation.Member("result");
  result.ExpectMembers({"type", "stream", "documentation"});
  result.Text("documentation");
  result.Member("stream").Flag();
  CheckType(result.Member("type"), names);
  const auto errors = operation.Member("errors");
  errors.Texts("id");
  for (const auto& error : errors.Elements()) {
    error.ExpectMembers({"id", "documentation"});
    error.Text("documentation");
    ExpectKnown(error.Member("id"), names.errors, "error");
  }
}

void CheckService(const JsonNode& service, const ModelNames& names) {
  service.ExpectMembers({"id", "documentation", "operations"}, {"hidden"});
  service.Text("documentation");
  if (service.HasMember("hidden")) service.Member("hidden").Flag();
  const auto operations = service.Member("operations");
  operations.Texts("id");
  for (const auto& operation : operations.Elements()) CheckOperation(operation, names);
}

void ExpectAllKnown(const JsonNode& list, const std::set<std::string>& names, const std::string& what) {
  list.Texts();
  for (const auto& name : list.Elements()) ExpectKnown(name, names, what);
}

void CheckPackage(const JsonNode& package, const ModelNames& names) {
  package.ExpectMembers({"id", "documentation", "services", "structures", "enumerations"});
  package.Text("documentation");
  ExpectAllKnown(package.Member("services"), names.services, "service");
  ExpectAllKnown(package.Member("structures"), names.structures, "structure");
  ExpectAllKnown(package.Member("enumerations"), names.enumerations, "enumeration");
}

void CheckComponent(const JsonNode& component, const ModelNames& names) {
  component.ExpectMembers({"id", "documentation", "packages"});
  component.Text("id");
  component.Text("documentation");
  ExpectAllKnown(component.Member("packages"), names.packages, "package");
}

void CheckResource(const JsonNode& resource, const ModelNames& names) {
  resource.ExpectMembers({"id", "documentation", "models"});
  resource.Text("documentation");
  ExpectAllKnown(resource.Member("models"), names.structures, "structure");
}

// The arguments themselves, and the fields of those that are structures.
std::set<std::string> ArgumentPlaces(const JsonNode& operation, const StructureFields& structures) {
  std::set<std::string> places;
  for (const auto& parameter : operation.Member("parameters").Elements()) {
    const auto name = parameter.Text("name");
    places.insert(name);
    const auto type = parameter.Member("type");
    if (!type.HasMember("structure")) continue;
    for (const auto& field : structures.at(type.Text("structure"))) places.insert(DottedName(name, field));
  }
  return places;
}

void CollectOperations(const JsonNode& section, ModelNames& names) {
  StructureFields structures;
  for (const auto& structure : section.Member("structures").Elements()) {
    structures.emplace(structure.Text("id"), structure.Member("fields").Texts("name"));
  }
  for (const auto& service : section.Member("services").Elements()) {
    for (const auto& operation : service.Member("operations").Elements()) {
      names.operationFields.emplace(DottedName(service.Text("id"), operation.Text("id")),
                                    ArgumentPlaces(operation, structures));
    }
  }
}

}  // namespace

ModelNames CheckMetamodel(const JsonNode& section) {
  section.ExpectMembers({"component", "packages", "services", "structures", "enumerations", "resources"});
  const auto structures = section.Member("structures");
  ModelNames names;
  names.packages = section.Member("packages").Texts("id");
  names.services = section.Member("services").Texts("id");
  names.enumerations = section.Member("enumerations").Texts("id");
  section.Member("resources").Texts("id");
  structures.Texts("id");
  for (const auto& structure : structures.Elements()) {
    (IsError(structure) ? names.errors : names.structures).insert(structure.Text("id"));
  }

  CheckComponent(section.Member("component"), names);
  for (const auto& package : section.Member("packages").Elements()) CheckPackage(package, names);
  for (const auto& structure : structures.Elements()) CheckStructure(structure, names);
  for (const auto& enumeration : section.Member("enumerations").Elements()) CheckEnumeration(enumeration);
  for (const auto& service : section.Member("services").Elements()) CheckService(service, names);
  for (const auto& resource : section.Member("resources").Elements()) CheckResource(resource, names);
  CollectOperations(section, names);
  return names;
}

Content ReadMetamodel(const JsonNode& section, const ModelNames& /*names*/) {
  const std::string prefix = "com.tessaly.mirel.metadata.metamodel.";
  Content content;
  AddEntry(content, prefix + "component", section.Member("component"));
  AddEntries(content, prefix + "package", section.Member("packages"));
  AddEntries(content, prefix + "structure", section.Member("structures"));
  AddEntries(content, prefix + "enumeration", section.Member("enumerations"));
  AddEntries(content, prefix + "service", section.Member("services"));
  AddEntries(content, prefix + "resource", section.Member("resources"));

  content.kinds[prefix + "service.hidden"][""];
  for (const auto& service : section.Member("services").Elements()) {
    AddEntries(content, prefix + "service.operation", service.Member("operations"), service.Text("id"));
    if (service.HasMember("hidden") && service.Member("hidden").Flag()) {
      AddEntry(content, prefix + "service.hidden", service);
    }
  }
  const auto& structures = content.kinds[prefix + "structure"][""];
  for (const auto& resource : section.Member("resources").Elements()) {
    auto& models = content.kinds[prefix + "resource.model"][resource.Text("id")];
    for (const auto& model : resource.Member("models").Texts()) models.emplace(model, structures.at(model));
  }
  return content;
}

}  // namespace Mirel::Provider::Metadata
