#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>

#include "platform/corvane/object.h"

namespace Corvane::Service {

// The configuration tree, read once from an XML file in UTF-8:
//
//   <config>
//     <mirelPort>9999</mirelPort>
//     <log>
//       <level>6</level>                          0 to 7, default 6
//       <file>/var/log/some.log</file>            default none: standard error only
//       <maxBytes>10000000</maxBytes>             of one file, default 10000000
//       <maxFiles>5</maxFiles>                    kept in all, default 5
//     </log>
//     <sessions>
//       <limit>100000</limit>                     of a program that keeps sessions, default 100000
//     </sessions>
//   </config>
//
// One element is one key, and a slash in a key is nesting: the level above is "log/level". Blanks around a
// value do not count. Attributes are ignored. The keys below "log" and "sessions" belong to this library, all
// others to the program. An empty file is a tree without keys. The tree does not change once read, so it may
// be read from any thread.
class Config final : public ObjectImpl {
 public:
  // Throws Corvane::Exception with the file and the reason: it cannot be read, is above 1 MiB, is not well
  // formed, has another root element, holds a document type (there are no entities to expand), or gives a
  // key twice.
  static Ref<Config> Load(const std::string& path);

  // Give true and store the value when the key is in the file; otherwise they leave the value alone and give
  // false. A value of the wrong form, or an integer beyond 32 bits or the given bounds, is logged at level 3
  // with file and line and counts as absent. A boolean is true, false, 1 or 0.
  bool ReadInteger(std::string_view key, std::int32_t* value,
                   std::int32_t least = std::numeric_limits<std::int32_t>::min(),
                   std::int32_t most = std::numeric_limits<std::int32_t>::max()) const;
  bool ReadBoolean(std::string_view key, bool* value) const;
  bool ReadString(std::string_view key, std::string* value) const;

  // Logs at level 6 each key of the file that is neither in the list nor one of this library's own: most
  // likely it is misspelt.
  void WarnAboutUnknownKeys(std::span<const std::string_view> known) const;

 private:
  struct Value {
    std::string text;
    long line = 0;
  };
  class Reader;

  const Value* Find(std::string_view key) const;
  void LogWrongForm(std::string_view key, const Value& value, std::string_view expected) const;

  std::string path_;
  std::map<std::string, Value, std::less<>> values_;
};

}  // namespace Corvane::Service
