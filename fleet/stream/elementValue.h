#pragma once

#include <rapidjson/document.h>

#include <string>

#include "fleet/stream/element.h"

namespace Fleet {

// The element that the value is, without its `json`. Throws std::runtime_error if it is none.
Element ElementOf(const rapidjson::Value& value);

// The value on one line, without blanks.
std::string JsonOf(const rapidjson::Value& value);

}  // namespace Fleet
