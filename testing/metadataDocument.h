#pragma once

#include <gtest/gtest.h>

#include <set>
#include <string>

#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "testing/temporaryFolder.h"

// Reads, changes and looks into JSON files.
namespace Testing {

using Texts = std::set<std::string>;

inline rapidjson::Document ReadJson(const char* fileName) {
  rapidjson::Document document;
  // By its length: a text that ends with its NUL is read up to 15 bytes further.
  const auto text = ReadFile(fileName);
  document.Parse(text.data(), text.size());
  EXPECT_FALSE(document.HasParseError());
  return document;
}

inline std::string WriteJson(const rapidjson::Value& value) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  value.Accept(writer);
  return text.GetString();
}

// The service's metadata with one value replaced, or taken out when the JSON is empty. A place that ends in
// "-" is after the end of a list.
inline std::string ChangedMetadata(const char* pointer, const std::string& json) {
  auto document = ReadJson(METADATA_FILE);
  const rapidjson::Pointer place(pointer);
  EXPECT_TRUE(place.IsValid()) << pointer;
  if (json.empty()) {
    EXPECT_TRUE(place.Erase(document)) << pointer;
    return WriteJson(document);
  }
  rapidjson::Document value(&document.GetAllocator());
  EXPECT_FALSE(value.Parse(json.data(), json.size()).HasParseError()) << json;
  place.Set(document, value);
  return WriteJson(document);
}

inline const rapidjson::Value& At(const rapidjson::Value& value, const std::string& pointer) {
  const auto* found = rapidjson::Pointer(pointer.c_str()).Get(value);
  if (!found) throw std::runtime_error("nothing at " + pointer);
  return *found;
}

// One member of each of a list's objects.
inline Texts Collect(const rapidjson::Value& list, const char* member) {
  Texts texts;
  for (const auto& element : list.GetArray()) texts.insert(element[member].GetString());
  return texts;
}

// The object of a list with that identifier.
inline const rapidjson::Value& ById(const rapidjson::Value& list, const std::string& id) {
  for (const auto& element : list.GetArray()) {
    if (element["id"] == id.c_str()) return element;
  }
  throw std::runtime_error("nothing has the identifier " + id);
}

}  // namespace Testing
