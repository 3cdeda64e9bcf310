#pragma once

#include <toml++/toml.h>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace GuestAgent {

// A table of a configuration whose keys are all taken by name; what is left over is a fault. All of it throws
// ConfigurationFault.
class TomlTable {
 public:
  TomlTable(const toml::table& table, std::string file, std::string name)
      : table_(table), file_(std::move(file)), name_(std::move(name)) {}

  // Each leaves the value as it is if the key isn't there.
  void Take(const char* key, std::string& value);
  void Take(const char* key, bool& value);
  void TakeNumber(const char* key, std::int64_t least, std::int64_t most,
                  const std::function<void(std::int64_t)>& take);
  void Take(const char* key, std::vector<std::string>& values);
  // A name, or the number that stands for one.
  void TakeName(const char* key, std::string& value);
  void TakeTable(const char* key, const std::function<void(TomlTable&)>& take);
  // An array of tables. Gives whether it is there.
  bool TakeTables(const char* key, const std::function<void(TomlTable&)>& take);

  // After all of them have been taken.
  void RefuseOthers() const;
  [[noreturn]] void Fail(const toml::node& node, const std::string& text) const;
  [[noreturn]] void Fail(const std::string& text) const { Fail(table_, text); }

 private:
  const toml::node* Find(const char* key);
  std::string Path(std::string_view key) const;

  const toml::table& table_;
  const std::string file_;
  const std::string name_;
  std::set<std::string, std::less<>> known_;
};

}  // namespace GuestAgent
