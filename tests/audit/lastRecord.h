#pragma once

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <algorithm>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>

#include "platform/corvane/paths.h"

// The last line of the host's audit log, without its line feed.
inline std::string LastLine() {
  // Longer than any record. What other tests have left there is longer.
  constexpr std::streamoff kMost = 1 << 16;
  std::ifstream file(Corvane::Paths::kAuditFile, std::ios::ate);
  file.seekg(std::max<std::streamoff>(0, file.tellg() - kMost));
  std::string all{std::istreambuf_iterator<char>(file), {}};
  EXPECT_TRUE(all.ends_with('\n'));
  all.resize(all.empty() ? 0 : all.size() - 1);
  const auto start = all.rfind('\n');
  return all.substr(start == std::string::npos ? 0 : start + 1);
}

// The last record, which has to be one JSON object.
inline rapidjson::Document LastRecord() {
  const auto line = LastLine();
  rapidjson::Document record;
  record.Parse<rapidjson::kParseValidateEncodingFlag>(line.data(), line.size());
  EXPECT_TRUE(record.IsObject());
  return record;
}

inline std::string TextOf(const rapidjson::Value& object, const char* key) {
  const auto member = object.FindMember(key);
  if (member == object.MemberEnd() || !member->value.IsString()) return "(absent)";
  return {member->value.GetString(), member->value.GetStringLength()};
}
