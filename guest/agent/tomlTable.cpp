#include "guest/agent/tomlTable.h"

#include "guest/agent/configurationFault.h"
#include "platform/corvane/textEscape.h"

namespace GuestAgent {

std::string TomlTable::Path(std::string_view key) const {
  return (name_.empty() ? "" : name_ + ".") + Corvane::Detail::EscapeName(key);
}

void TomlTable::Fail(const toml::node& node, const std::string& text) const {
  throw ConfigurationFault(file_ + ":" + std::to_string(node.source().begin.line) + ": " + text);
}

const toml::node* TomlTable::Find(const char* key) {
  known_.emplace(key);
  return table_.get(key);
}

void TomlTable::Take(const char* key, std::string& value) {
  const toml::node* node = Find(key);
  if (node == nullptr) return;
  const auto* text = node->as_string();
  if (text == nullptr) Fail(*node, Path(key) + " has to be a text");
  if (text->get().find('\0') != std::string::npos) Fail(*node, Path(key) + " has a zero byte in it");
  value = text->get();
}

void TomlTable::Take(const char* key, bool& value) {
  const toml::node* node = Find(key);
  if (node == nullptr) return;
  if (!node->is_boolean()) Fail(*node, Path(key) + " has to be true or false");
  value = node->as_boolean()->get();
}

void TomlTable::TakeNumber(const char* key, std::int64_t least, std::int64_t most,
                           const std::function<void(std::int64_t)>& take) {
  const toml::node* node = Find(key);
  if (node == nullptr) return;
  const auto* number = node->as_integer();
  if (number == nullptr || number->get() < least || number->get() > most) {
    Fail(*node, Path(key) + " has to be a whole number from " + std::to_string(least) + " to " +
                    std::to_string(most));
  }
  take(number->get());
}

void TomlTable::Take(const char* key, std::vector<std::string>& values) {
  const toml::node* node = Find(key);
  if (node == nullptr) return;
  const auto* array = node->as_array();
  if (array == nullptr) Fail(*node, Path(key) + " has to be a list of texts");
  values.clear();
  for (const toml::node& each : *array) {
    if (!each.is_string()) Fail(each, Path(key) + " has to be a list of texts");
    values.push_back(each.as_string()->get());
  }
}

void TomlTable::TakeName(const char* key, std::string& value) {
  const toml::node* node = Find(key);
  if (node == nullptr || !node->is_integer()) return Take(key, value);
  TakeNumber(key, 0, 0xFFFFFFFE, [&](std::int64_t number) { value = std::to_string(number); });
}

void TomlTable::TakeTable(const char* key, const std::function<void(TomlTable&)>& take) {
  const toml::node* node = Find(key);
  if (node == nullptr) return;
  if (!node->is_table()) Fail(*node, Path(key) + " has to be a table");
  TomlTable table(*node->as_table(), file_, Path(key));
  take(table);
  table.RefuseOthers();
}

bool TomlTable::TakeTables(const char* key, const std::function<void(TomlTable&)>& take) {
  const toml::node* node = Find(key);
  if (node == nullptr) return false;
  const auto* array = node->as_array();
  if (array == nullptr) Fail(*node, Path(key) + " has to be written as [[" + key + "]]");
  for (const toml::node& each : *array) {
    if (!each.is_table()) Fail(each, Path(key) + " has to be written as [[" + key + "]]");
    TomlTable table(*each.as_table(), file_, Path(key));
    take(table);
    table.RefuseOthers();
  }
  return true;
}

void TomlTable::RefuseOthers() const {
  for (const auto& [key, node] : table_) {
    if (known_.count(key.str()) == 0) Fail(node, "there is no key " + Path(key.str()));
  }
}

}  // namespace GuestAgent
