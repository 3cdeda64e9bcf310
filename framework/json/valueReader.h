#pragma once

#include <rapidjson/document.h>

#include <string>

#include "framework/core/dataValue.h"

namespace Mirel::Protocol::Json {

// Makes a value of a request's JSON. The typed forms (valueWriter.h) give exactly what was written; other
// JSON is taken as it is: an object becomes a structure without a name, null an absent optional. Throws
// RequestFault for a member given twice, and, with the place, for a typed form that is broken. Requires: the
// parser has bounded the nesting.
Data::DataValuePtr ReadValue(const rapidjson::Value& json, const std::string& place);

}  // namespace Mirel::Protocol::Json
