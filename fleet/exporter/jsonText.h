#pragma once

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string>
#include <string_view>

namespace Fleet {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// What the daemon or a guest wrote goes through this before it comes here: the writer takes UTF-8 as it is.
inline void PutText(JsonWriter& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

inline void PutText(JsonWriter& writer, const char* name, std::string_view text) {
  writer.Key(name);
  PutText(writer, text);
}

inline std::string TextOf(const rapidjson::StringBuffer& buffer) {
  return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace Fleet
