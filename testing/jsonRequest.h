#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/executionContext.h"
#include "framework/json/jsonApiRequestDeserializer.h"
#include "framework/json/jsonApiResponseSerializer.h"

namespace Testing {

// Keeps what a request said.
struct Understood final : Mirel::Core::ApiRequestVisitor {
  std::error_code Visit(const std::string& requestId,
                        const std::shared_ptr<const Mirel::Core::MethodIdentifier>& identifier,
                        const std::shared_ptr<const Mirel::Data::DataValue>& arguments,
                        const std::shared_ptr<Mirel::Core::ExecutionContext>& executionContext) override {
    ++calls;
    id = requestId;
    method = identifier;
    input = arguments;
    context = executionContext;
    return refusal;
  }

  int calls = 0;
  std::string id;
  std::shared_ptr<const Mirel::Core::MethodIdentifier> method;
  std::shared_ptr<const Mirel::Data::DataValue> input;
  std::shared_ptr<Mirel::Core::ExecutionContext> context;
  std::error_code refusal;
};

// Null when the request was taken.
inline std::shared_ptr<const Mirel::ErrorValue> Deserialize(std::string_view text, Understood& visitor) {
  boost::asio::streambuf body;
  std::memcpy(body.prepare(text.size()).data(), text.data(), text.size());
  body.commit(text.size());
  std::shared_ptr<const Mirel::ErrorValue> error;
  const bool taken = Mirel::Protocol::Json::JsonApiRequestDeserializer().Deserialize(body, visitor, error);
  return taken ? nullptr : error;
}

inline std::string RequestWithInput(std::string_view input) {
  return R"({"jsonrpc":"2.0","id":1,"method":"a.b","params":{"input":)" + std::string(input) + "}}";
}

template <typename Serializer>
std::string Answer(const std::shared_ptr<const Mirel::Core::MethodResult>& result,
                   const std::string& id = "1") {
  Mirel::ORange out;
  std::shared_ptr<const Mirel::ErrorValue> error;
  Serializer().SerializeInvoke(id, result, out, error, false);
  return out.ToString();
}

using Typed = Mirel::Protocol::Json::JsonApiResponseSerializer<0>;
using Direct = Mirel::Protocol::Json::JsonApiDirectResponseSerializer<0>;

}  // namespace Testing
