// Requests of hostile clients. A request that is taken has arguments whose typed form is read back to the
// same text, and every answer is one line of valid JSON.

#include <rapidjson/document.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "framework/core/asyncApiProvider.h"
#include "framework/core/executionContext.h"
#include "framework/json/jsonApiRequestDeserializer.h"
#include "framework/json/jsonApiResponseSerializer.h"

namespace {

using namespace Mirel;
using namespace Mirel::Protocol::Json;
using ErrorPtr = std::shared_ptr<const Data::ErrorValue>;

void Require(bool condition) {
  if (!condition) std::abort();
}

struct Visitor final : Core::ApiRequestVisitor {
  std::error_code Visit(const std::string& requestId,
                        const std::shared_ptr<const Core::MethodIdentifier>& identifier,
                        const std::shared_ptr<const Data::DataValue>& arguments,
                        const std::shared_ptr<Core::ExecutionContext>& context) override {
    Require(identifier && arguments && context);
    id = requestId;
    input = arguments;
    return {};
  }

  std::string id;
  std::shared_ptr<const Data::DataValue> input;
};

ErrorPtr Deserialize(const void* text, std::size_t size, Visitor& visitor) {
  boost::asio::streambuf body;
  // memcpy takes no null pointer, even for nothing.
  if (size != 0) std::memcpy(body.prepare(size).data(), text, size);
  body.commit(size);
  ErrorPtr error;
  const bool taken = JsonApiRequestDeserializer().Deserialize(body, visitor, error);
  Require(taken == !error);
  return error;
}

void RequireOneLineOfJson(const std::string& text) {
  Require(text.find('\n') == std::string::npos);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseValidateEncodingFlag | rapidjson::kParseIterativeFlag>(text.data(),
                                                                                         text.size());
  Require(!document.HasParseError());
}

template <typename Serializer>
std::string Answer(const std::string& id, const Data::DataValuePtr& value) {
  ORange out;
  ErrorPtr error;
  Serializer().SerializeInvoke(id, Core::MethodResult::GetInstance(value), out, error, false);
  Require(!error);
  RequireOneLineOfJson(out.ToString());
  return out.ToString();
}

// The part of an answer that a request may have as its arguments.
std::string ResultOf(const std::string& answer, const std::string& id) {
  const std::size_t head = std::strlen(R"({"jsonrpc":"2.0","id":,"result":)") + id.size();
  return answer.substr(head, answer.size() - head - 1);
}

void RequireSameWhenReadBack(const Visitor& first) {
  const auto typed = Answer<JsonApiResponseSerializer<0>>(first.id, first.input);
  const auto again = R"({"jsonrpc":"2.0","id":)" + first.id + R"(,"method":"a.b","params":{"input":)" +
                     ResultOf(typed, first.id) + "}}";
  Visitor second;
  if (const auto error = Deserialize(again.data(), again.size(), second)) {
    // The typed form is nested more deeply than what it was made of.
    Require(error->ToString().find("levels of nesting") != std::string::npos);
    return;
  }
  Require(second.id == first.id);
  Require(Answer<JsonApiResponseSerializer<0>>(second.id, second.input) == typed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Visitor visitor;
  if (const auto error = Deserialize(data, size, visitor)) {
    ORange out;
    ErrorPtr failure;
    JsonApiDirectResponseSerializer<0>().SerializeError(error, out, failure);
    Require(!failure);
    RequireOneLineOfJson(out.ToString());
  } else {
    Answer<JsonApiDirectResponseSerializer<0>>(visitor.id, visitor.input);
    RequireSameWhenReadBack(visitor);
  }
  // The same bytes as a guest's text.
  const std::string bytes(data, data + size);
  Answer<JsonApiDirectResponseSerializer<0>>("1", Data::DataValue::Create(bytes));
  return 0;
}
