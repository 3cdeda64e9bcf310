#include "bindings/subscriptionSpecReader.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

#include "framework/provider/simpleInterface.h"

namespace Com::Tessaly::Norn::Hesper {
namespace {

using namespace ::Mirel::Data;
using ::Mirel::Provider::ArgumentError;

// A value together with its place in the arguments, for error texts.
struct Argument {
  DataValuePtr value;
  std::string place;
};

[[noreturn]] void Refuse(const Argument& argument, const std::string& expected) {
  throw ArgumentError(argument.place + ": expected " + expected);
}

template <typename Value>
const Value& As(const Argument& argument, const char* expected) {
  const auto* value = dynamic_cast<const Value*>(argument.value.get());
  if (!value) Refuse(argument, expected);
  return *value;
}

const CompoundValue& AsStructure(const Argument& argument, std::initializer_list<std::string_view> known) {
  const auto& structure = As<StructValue>(argument, "a structure");
  for (const auto& [name, value] : structure.fields()) {
    if (std::find(known.begin(), known.end(), name) == known.end()) {
      throw ArgumentError(argument.place + "." + name + ": unknown field");
    }
  }
  return structure;
}

// The value of a field: null when it is missing, null, or an absent optional.
Argument Field(const CompoundValue& structure, const Argument& parent, const char* name) {
  Argument field{structure.GetField(name), parent.place + "." + name};
  if (const auto* optional = dynamic_cast<const OptionalValue*>(field.value.get())) {
    field.value = optional->value();
  } else if (field.value && field.value->type() == DataType::Void) {
    field.value = nullptr;
  }
  return field;
}

Argument RequiredField(const CompoundValue& structure, const Argument& parent, const char* name) {
  auto field = Field(structure, parent, name);
  if (!field.value) throw ArgumentError(field.place + ": missing");
  return field;
}

std::string ReadString(const Argument& argument) {
  return As<StringValue>(argument, "a string").value();
}

std::optional<std::string> ReadOptionalString(const Argument& argument) {
  if (!argument.value) return std::nullopt;
  return ReadString(argument);
}

VmFilterSpecConstPtr ReadVmFilterSpec(const Argument& argument) {
  const auto& structure = AsStructure(argument, {"mgr_vm_id", "bios_uuid", "vm_uuid"});
  VmFilterSpec spec;
  spec.mgrVmId = ReadOptionalString(Field(structure, argument, "mgr_vm_id"));
  spec.biosUuid = ReadOptionalString(Field(structure, argument, "bios_uuid"));
  spec.vmUuid = ReadOptionalString(Field(structure, argument, "vm_uuid"));
  return std::make_shared<const VmFilterSpec>(std::move(spec));
}

template <typename Element, typename Read>
std::optional<std::vector<Element>> ReadOptionalList(const Argument& argument, Read read) {
  if (!argument.value) return std::nullopt;
  const auto& list = As<ListValue>(argument, "a list");
  std::vector<Element> elements;
  elements.reserve(list.elements().size());
  for (const auto& value : list.elements()) {
    elements.push_back(read({value, argument.place + "[" + std::to_string(elements.size()) + "]"}));
  }
  return elements;
}

SubscriptionSpec ReadSpec(const Argument& argument) {
  const auto& structure =
      AsStructure(argument, {"vm_id_type", "vm_filter", "topic_prefixes", "past_seconds"});
  SubscriptionSpec spec;
  spec.vmIdType = VmIdentifierType::FromText(ReadString(RequiredField(structure, argument, "vm_id_type")));
  spec.vmFilter =
      ReadOptionalList<VmFilterSpecConstPtr>(Field(structure, argument, "vm_filter"), ReadVmFilterSpec);
  spec.topicPrefixes =
      ReadOptionalList<std::string>(Field(structure, argument, "topic_prefixes"), ReadString);
  if (const auto past = Field(structure, argument, "past_seconds"); past.value) {
    spec.pastSeconds = As<IntegerValue>(past, "an integer").value();
  }
  return spec;
}

}  // namespace

SubscriptionSpec ReadSubscribeArguments(const DataValuePtr& input) {
  const Argument root{input, "input"};
  const auto& arguments = AsStructure(root, {"spec"});
  return ReadSpec(RequiredField(arguments, root, "spec"));
}

}  // namespace Com::Tessaly::Norn::Hesper
