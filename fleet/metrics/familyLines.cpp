#include "fleet/metrics/familyLines.h"

namespace Fleet {

void AppendFamilyHead(std::string& page, MetricForm form, std::string_view name, FamilyType type,
                      std::string_view help) {
  const bool isUntyped = type == FamilyType::Unknown && form == MetricForm::Prometheus;
  page.append("# HELP ").append(name).append(" ").append(help).append("\n# TYPE ").append(name).append(" ");
  page.append(isUntyped ? "untyped" : FamilyTypeName(type)).append("\n");
}

std::string VmLabel(std::string_view vm) {
  std::string label = "{vm=\"";
  for (const char c : vm) {
    if (c == '"' || c == '\\') label.push_back('\\');
    label.push_back(c);
  }
  return label.append("\"");
}

}  // namespace Fleet
