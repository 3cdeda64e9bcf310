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
// notifications are refused, since each call is answered by a stream of its own, and so are members given
// twice. Nesting and number of values are bounded while the text is read, which bounds the memory as well.
//
// The visitor gets the identifier as JSON text (`7`, `"a"`, `null`), so that the answers repeat it exactly.
// Plain JSON becomes untyped values: an object is a structure without a name, null an absent optional. An
// object that has one of the typed serializer's own shapes becomes that typed value.
class JsonApiRequestDeserializer {
 public:
  class Steps;

  // Gives true after the visitor has taken the request. Otherwise gives false and sets errorOut: the text is
  // no valid request, or the visitor refused it. Usable for any number of requests.
  bool Deserialize(boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor,
                   std::shared_ptr<const Data::ErrorValue>& errorOut) const;

  // Requires: body and visitor outlive the steps.
  Steps Begin(const boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor) const;
};

// The same in steps, for a thread that also serves others. Even with the longest text, none of them takes
// more than some milliseconds.
class JsonApiRequestDeserializer::Steps {
 public:
  Steps(const boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor);
  ~Steps();

  // Does the next step, and gives true when another one follows.
  bool Next();
  // After the last step: null when the visitor has taken the request.
  const std::shared_ptr<const Data::ErrorValue>& Error() const { return error_; }

 private:
  struct Request;
  using Step = void (Steps::*)();

  void Parse();
  void Interpret();
  void Visit();

  const boost::asio::streambuf& body_;
  Core::ApiRequestVisitor& visitor_;
  std::unique_ptr<Request> request_;
  // Null at the end.
  Step next_ = &Steps::Parse;
  std::shared_ptr<const Data::ErrorValue> error_;
};

}  // namespace Mirel::Protocol::Json
