#include "framework/metadata/sections.h"

namespace Mirel::Provider::Metadata {
namespace {

void CheckScheme(const JsonNode& scheme) {
  scheme.ExpectMembers({"id", "documentation", "entries"});
  scheme.Text("documentation");
  scheme.Member("entries").Texts("name");
  for (const auto& entry : scheme.Member("entries").Elements()) {
    entry.ExpectMembers({"name", "secret"});
    entry.Member("secret").Flag();
  }
}

// Defines the schemes that the others refer to.
std::set<std::string> CheckComponent(const JsonNode& component) {
  component.ExpectMembers({"id", "schemes"});
  component.Text("id");
  for (const auto& scheme : component.Member("schemes").Elements()) CheckScheme(scheme);
  return component.Member("schemes").Texts("id");
}

void CheckSchemes(const JsonNode& list, const std::set<std::string>& schemes) {
  list.Texts();
  for (const auto& scheme : list.Elements()) ExpectKnown(scheme, schemes, "scheme");
}

void CheckService(const JsonNode& service, const std::set<std::string>& schemes, const ModelNames& names) {
  service.ExpectMembers({"id", "schemes", "operations"});
  ExpectKnown(service.Member("id"), names.services, "service");
  CheckSchemes(service.Member("schemes"), schemes);
  service.Member("operations").Texts("id");
  for (const auto& operation : service.Member("operations").Elements()) {
    operation.ExpectMembers({"id", "schemes"});
    const auto name = operation.Text("id");
    if (!names.operationFields.contains(DottedName(service.Text("id"), name))) {
      operation.Member("id").Fail("the service has no operation \"" + name + '"');
    }
    CheckSchemes(operation.Member("schemes"), schemes);
  }
}

void CheckPackage(const JsonNode& package, const std::set<std::string>& schemes, const ModelNames& names) {
  package.ExpectMembers({"id", "schemes"});
  ExpectKnown(package.Member("id"), names.packages, "package");
  CheckSchemes(package.Member("schemes"), schemes);
}

}  // namespace

Content ReadAuthentication(const JsonNode& section, const ModelNames& names) {
  section.ExpectMembers({"component", "packages", "services"});
  const auto schemes = CheckComponent(section.Member("component"));
  section.Member("packages").Texts("id");
  section.Member("services").Texts("id");
  for (const auto& package : section.Member("packages").Elements()) CheckPackage(package, schemes, names);
  for (const auto& service : section.Member("services").Elements()) CheckService(service, schemes, names);

  const std::string prefix = "com.tessaly.mirel.metadata.authentication.";
  Content content;
  AddEntry(content, prefix + "component", section.Member("component"));
  AddEntries(content, prefix + "package", section.Member("packages"));
  AddEntries(content, prefix + "service", section.Member("services"));
  for (const auto& service : section.Member("services").Elements()) {
    AddEntries(content, prefix + "service.operation", service.Member("operations"), service.Text("id"));
  }
  return content;
}

}  // namespace Mirel::Provider::Metadata
