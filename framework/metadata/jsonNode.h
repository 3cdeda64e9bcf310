#pragma once

#include <initializer_list>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <rapidjson/document.h>

namespace Mirel::Provider::Metadata {

// A metadata file is not as it should be; what() names the place and the reason.
class MetadataError final : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A value of a metadata file together with its place. All reads throw MetadataError when the value has
// another form. Requires: the document outlives it.
class JsonNode {
 public:
  explicit JsonNode(const rapidjson::Value& value, std::string pointer = "")
      : value_(&value), pointer_(std::move(pointer)) {}

  using Names = std::initializer_list<std::string_view>;

  // This is an object with all the required members, perhaps some of the optional ones, and no others, each
  // of them once.
  void ExpectMembers(Names required, Names optional = {}) const;
  bool HasMember(const char* name) const { return value_->IsObject() && value_->HasMember(name); }
  JsonNode Member(const char* name) const;
  std::vector<JsonNode> Elements() const;
  // A text that is not empty.
  std::string Text() const;
  std::string Text(const char* member) const { return Member(member).Text(); }
  bool Flag() const;
  // The texts of a list, of which no two are equal.
  std::set<std::string> Texts() const;
  // The same of one member of each of a list's objects.
  std::set<std::string> Texts(const char* member) const;

  [[noreturn]] void Fail(const std::string& reason) const;
  const rapidjson::Value& value() const { return *value_; }

 private:
  JsonNode Child(const rapidjson::Value& value, std::string_view token) const;

  const rapidjson::Value* value_;
  // RFC 6901.
  std::string pointer_;
};

}  // namespace Mirel::Provider::Metadata
