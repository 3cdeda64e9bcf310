#pragma once

#include "framework/core/dataValue.h"
#include "framework/core/oRange.h"

// The two JSON forms of a value. Neither holds a line feed. Large payloads are referred to and not copied.
namespace Mirel::Protocol::Json {

// Can be read back without the service's description:
//   structure {"structure":NAME,"fields":{...}}, error {"error":NAME,"fields":{...}},
//   optional {"optional":[]} or {"optional":[VALUE]}, blob {"blob":BASE64}, secret {"secret":TEXT}.
void WriteTyped(const Data::DataValue& value, ORange& out);

// For people: a structure is an object, an absent optional is left out, a blob is a base64 string, an error
// is an object with its name in "error".
void WriteDirect(const Data::DataValue& value, ORange& out);

}  // namespace Mirel::Protocol::Json
