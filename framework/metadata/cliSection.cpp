#include "framework/metadata/sections.h"

namespace Mirel::Provider::Metadata {
namespace {

void CheckNamespace(const JsonNode& node, const std::set<std::string>& namespaces) {
  node.ExpectMembers({"id", "documentation", "children"});
  node.Text("documentation");
  node.Member("children").Texts();
  for (const auto& child : node.Member("children").Elements()) ExpectKnown(child, namespaces, "namespace");
}

void CheckOptions(const JsonNode& options, const std::set<std::string>& fields) {
  options.Texts("name");
  options.Texts("field");
  for (const auto& option : options.Elements()) {
    option.ExpectMembers({"name", "field", "documentation"});
    option.Text("documentation");
    ExpectKnown(option.Member("field"), fields, "argument");
  }
}

void CheckCommand(const JsonNode& command, const std::set<std::string>& namespaces, const ModelNames& names) {
  command.ExpectMembers({"id", "namespace", "name", "documentation", "service", "operation", "options"});
  command.Text("documentation");
  ExpectKnown(command.Member("namespace"), namespaces, "namespace");
  if (command.Text("id") != DottedName(command.Text("namespace"), command.Text("name"))) {
    command.Member("id").Fail("expected the namespace and the name");
  }
  ExpectKnown(command.Member("service"), names.services, "service");
  const auto operation =
      names.operationFields.find(DottedName(command.Text("service"), command.Text("operation")));
  if (operation == names.operationFields.end()) {
    command.Member("operation").Fail("the service has no operation \"" + command.Text("operation") + '"');
  }
  CheckOptions(command.Member("options"), operation->second);
}

}  // namespace

Content ReadCli(const JsonNode& section, const ModelNames& names) {
  section.ExpectMembers({"namespaces", "commands"});
  const auto namespaces = section.Member("namespaces").Texts("id");
  section.Member("commands").Texts("id");
  for (const auto& node : section.Member("namespaces").Elements()) CheckNamespace(node, namespaces);
  for (const auto& command : section.Member("commands").Elements()) CheckCommand(command, namespaces, names);

  Content content;
  AddEntries(content, "com.tessaly.mirel.metadata.cli.namespace", section.Member("namespaces"));
  AddEntries(content, "com.tessaly.mirel.metadata.cli.command", section.Member("commands"));
  return content;
}

}  // namespace Mirel::Provider::Metadata
