#include "framework/metadata/jsonNode.h"

#include <algorithm>

namespace Mirel::Provider::Metadata {
namespace {

std::string_view View(const rapidjson::Value& text) {
  return {text.GetString(), text.GetStringLength()};
}

bool Contains(JsonNode::Names names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Quoted(std::string_view name) {
  return '"' + std::string(name) + '"';
}

}  // namespace

void JsonNode::Fail(const std::string& reason) const {
  throw MetadataError((pointer_.empty() ? "the document" : pointer_) + ": " + reason);
}

JsonNode JsonNode::Child(const rapidjson::Value& value, std::string_view token) const {
  std::string pointer = pointer_ + '/';
  for (const char c : token) {
    if (c == '~') {
      pointer += "~0";
    } else if (c == '/') {
      pointer += "~1";
    } else {
      pointer += c;
    }
  }
  return JsonNode(value, std::move(pointer));
}

void JsonNode::ExpectMembers(Names required, Names optional) const {
  if (!value_->IsObject()) Fail("expected an object");
  std::set<std::string_view> seen;
  for (const auto& member : value_->GetObject()) {
    const auto name = View(member.name);
    if (!Contains(required, name) && !Contains(optional, name)) {
      Child(member.value, name).Fail("unknown member");
    }
    if (!seen.insert(name).second) Child(member.value, name).Fail("repeated member");
  }
  for (const auto name : required) {
    if (!seen.contains(name)) Fail("member " + Quoted(name) + " is missing");
  }
}

JsonNode JsonNode::Member(const char* name) const {
  if (!value_->IsObject()) Fail("expected an object");
  const auto member = value_->FindMember(name);
  if (member == value_->MemberEnd()) Fail("member " + Quoted(name) + " is missing");
  return Child(member->value, name);
}

std::vector<JsonNode> JsonNode::Elements() const {
  if (!value_->IsArray()) Fail("expected a list");
  std::vector<JsonNode> elements;
  elements.reserve(value_->Size());
  for (const auto& element : value_->GetArray()) {
    elements.push_back(Child(element, std::to_string(elements.size())));
  }
  return elements;
}

std::string JsonNode::Text() const {
  if (!value_->IsString() || value_->GetStringLength() == 0) Fail("expected a text that is not empty");
  return std::string(View(*value_));
}

bool JsonNode::Flag() const {
  if (!value_->IsBool()) Fail("expected true or false");
  return value_->GetBool();
}

std::set<std::string> JsonNode::Texts() const {
  std::set<std::string> texts;
  for (const auto& element : Elements()) {
    if (!texts.insert(element.Text()).second) element.Fail(Quoted(element.Text()) + " is there twice");
  }
  return texts;
}

std::set<std::string> JsonNode::Texts(const char* member) const {
  std::set<std::string> texts;
  for (const auto& element : Elements()) {
    const auto text = element.Member(member);
    if (!texts.insert(text.Text()).second) text.Fail(Quoted(text.Text()) + " is there twice");
  }
  return texts;
}

}  // namespace Mirel::Provider::Metadata
