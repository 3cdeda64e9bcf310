#include "framework/authz/touchedObjects.h"

#include "framework/core/dataValue.h"

namespace Mirel::Authz {
namespace {

// Appends the rule for the object that a value names.
bool AppendOne(const MethodCollectionPrivilege& rule, const Data::DataValuePtr& value,
               MethodCollectionPrivileges& required) {
  const auto* text = dynamic_cast<const Data::StringValue*>(value.get());
  if (!text || text->value().empty()) return false;
  required.push_back(rule);
  required.back().object = text->value();
  return true;
}

bool AppendAll(const MethodCollectionPrivilege& rule, const Data::DataValuePtr& value,
               MethodCollectionPrivileges& required) {
  const auto* list = dynamic_cast<const Data::ListValue*>(value.get());
  if (!list) return AppendOne(rule, value, required);
  for (const auto& element : list->elements()) {
    if (!AppendOne(rule, element, required)) return false;
  }
  return !list->elements().empty();
}

Data::DataValuePtr Argument(const Data::DataValuePtr& input, const std::string& path) {
  const auto value = Data::DataValueHelpers::GetValueByPath(input, path);
  const auto* optional = dynamic_cast<const Data::OptionalValue*>(value.get());
  return optional ? optional->value() : value;
}

}  // namespace

std::optional<MethodCollectionPrivileges> TouchedObjects(const MethodCollectionPrivileges& rules,
                                                         const Data::DataValuePtr& input) {
  MethodCollectionPrivileges required;
  for (const auto& rule : rules) {
    if (rule.argument.empty()) {
      required.push_back(rule);
    } else if (!AppendAll(rule, Argument(input, rule.argument), required)) {
      return std::nullopt;
    }
  }
  return required;
}

}  // namespace Mirel::Authz
