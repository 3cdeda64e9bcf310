#pragma once

#include <memory>

#include <boost/asio/streambuf.hpp>

#include "framework/core/apiSerializer.h"
#include "framework/core/dataValue.h"

namespace Mirel::Protocol::Json {

// Reads one JSON-RPC 2.0 request:
//
//     {"jsonrpc":"2.0","id":1,"method":"SERVICE.OPERATION",
//      "params":{"ctx":{"appCtx":{...},"securityCtx":{...}},"input":{...}}}
//
// Service and operation are split at the last dot. "params", "ctx" and "input" may be left out. Batches and
// notifications are refused, since the answer of a call is a stream of its own. So are members given twice.
// The nesting and the number of values are bounded while the text is read, and with them the memory.
//
// The visitor gets the identifier as JSON text (`7`, `"a"`, `null`), so that the answers repeat it exactly.
// Plain JSON becomes untyped values: an object is a structure without a name, null an absent optional. An
// object that has one of the typed serializer's own shapes becomes that typed value.
class JsonApiRequestDeserializer {
 public:
  // Gives true after the visitor has taken the request. Otherwise gives false and sets errorOut: the text is
  // no valid request, or the visitor refused it. Usable for any number of requests.
  bool Deserialize(boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor,
                   std::shared_ptr<const Data::ErrorValue>& errorOut) const;
};

}  // namespace Mirel::Protocol::Json
