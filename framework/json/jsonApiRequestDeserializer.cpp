#include "framework/json/jsonApiRequestDeserializer.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "framework/core/executionContext.h"
#include "framework/json/jsonText.h"
#include "framework/json/requestParser.h"
#include "framework/json/valueReader.h"

namespace Mirel::Protocol::Json {
namespace {

using rapidjson::Value;

// Each element of a stream repeats the identifier.
constexpr rapidjson::SizeType kLongestId = 1024;

std::shared_ptr<const Data::ErrorValue> MakeError(const char* name, const std::string& reason) {
  return Data::ErrorValue::Create(std::string("com.tessaly.mirel.std.errors.") + name,
                                  {{std::string("mirel.jsonrpc.") + name, reason, {reason}}});
}

// Null when the object has no such member.
const Value* Find(const Value& object, const char* name) {
  const auto member = object.FindMember(name);
  return member == object.MemberEnd() ? nullptr : &member->value;
}

// A member that is an object with no other members than the known ones; null when it is missing.
const Value* FindObject(const Value& object, const char* name, const std::string& place,
                        std::initializer_list<std::string_view> known) {
  const auto* found = Find(object, name);
  if (!found) return nullptr;
  if (!found->IsObject()) throw RequestFault(place + " is not an object");
  RequireDistinctNames(*found);
  for (const auto& member : found->GetObject()) {
    const auto memberName = Text(member.name);
    if (std::find(known.begin(), known.end(), memberName) == known.end()) {
      throw RequestFault(place + " has an unknown member: " + Quoted(memberName));
    }
  }
  return found;
}

// Calls take(name, text) for each member of the object, all of which have to be strings.
template <typename Take>
void ReadTexts(const Value* object, const std::string& place, Take take) {
  if (!object) return;
  if (!object->IsObject()) throw RequestFault(place + " is not an object");
  RequireDistinctNames(*object);
  for (const auto& member : object->GetObject()) {
    if (!member.value.IsString()) {
      throw RequestFault(place + "." + Quoted(Text(member.name)) + " is not a string");
    }
    take(Text(member.name), Text(member.value));
  }
}

std::string ReadId(const Value& request) {
  const auto* id = Find(request, "id");
  if (!id) throw RequestFault("id is missing: a call has an answer");
  if (id->IsNull()) return "null";
  if (id->IsUint64()) return std::to_string(id->GetUint64());
  if (id->IsInt64()) return std::to_string(id->GetInt64());
  if (!id->IsString()) throw RequestFault("id is neither a string nor an integer");
  if (id->GetStringLength() > kLongestId) {
    throw RequestFault("id is longer than " + std::to_string(kLongestId) + " bytes");
  }
  ORange text;
  AppendString(Text(*id), text);
  return text.ToString();
}

std::shared_ptr<const Core::MethodIdentifier> ReadMethod(const Value& request) {
  const auto* method = Find(request, "method");
  if (!method || !method->IsString()) throw RequestFault("method is missing, or not a string");
  const auto name = Text(*method);
  const auto dot = name.rfind('.');
  if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) {
    throw RequestFault("method is not of the form SERVICE.OPERATION");
  }
  return std::make_shared<const Core::MethodIdentifier>(
      Core::MethodIdentifier{name.substr(0, dot), name.substr(dot + 1)});
}

std::shared_ptr<Core::ExecutionContext> ReadContext(const Value* params) {
  auto context = std::make_shared<Core::ExecutionContext>();
  const auto* json = params ? FindObject(*params, "ctx", "params.ctx", {"appCtx", "securityCtx"}) : nullptr;
  if (!json) return context;
  ReadTexts(Find(*json, "appCtx"), "params.ctx.appCtx", [&](auto name, auto text) {
    context->applicationContext.emplace(std::move(name), std::move(text));
  });
  ReadTexts(Find(*json, "securityCtx"), "params.ctx.securityCtx", [&](auto name, auto text) {
    context->securityContext.emplace(std::move(name), Core::SecurityContextWrappedEntry(std::move(text)));
  });
  return context;
}

Data::DataValuePtr ReadInput(const Value* params) {
  const auto* input = params ? Find(*params, "input") : nullptr;
  if (!input) return Data::StructValue::GetInstance("");
  return ReadValue(*input, "params.input");
}

}  // namespace

struct JsonApiRequestDeserializer::Steps::Request {
  rapidjson::Document json;
  std::string id;
  std::shared_ptr<const Core::MethodIdentifier> method;
  std::shared_ptr<Core::ExecutionContext> context;
  Data::DataValuePtr input;
};

JsonApiRequestDeserializer::Steps::Steps(const boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor)
    : body_(body), visitor_(visitor), request_(std::make_unique<Request>()) {}

JsonApiRequestDeserializer::Steps::~Steps() = default;

bool JsonApiRequestDeserializer::Steps::Next() {
  const Step step = std::exchange(next_, nullptr);
  try {
    (this->*step)();
  } catch (const ParseFault& fault) {
    error_ = MakeError("parse_error", fault.what());
  } catch (const RequestFault& fault) {
    error_ = MakeError("invalid_request", fault.what());
  }
  return next_ != nullptr;
}

void JsonApiRequestDeserializer::Steps::Parse() {
  // A streambuf keeps its bytes in one piece.
  const auto bytes = body_.data();
  ParseRequest({static_cast<const char*>(bytes.data()), bytes.size()}, request_->json);
  next_ = &Steps::Interpret;
}

void JsonApiRequestDeserializer::Steps::Interpret() {
  const auto& json = request_->json;
  if (json.IsArray()) throw RequestFault("batches are not supported");
  if (!json.IsObject()) throw RequestFault("the request is not an object");
  RequireDistinctNames(json);
  const auto* version = Find(json, "jsonrpc");
  if (!version || *version != "2.0") throw RequestFault("jsonrpc is not \"2.0\"");
  request_->id = ReadId(json);
  request_->method = ReadMethod(json);
  const auto* params = FindObject(json, "params", "params", {"ctx", "input"});
  request_->context = ReadContext(params);
  request_->input = ReadInput(params);
  next_ = &Steps::Visit;
}

void JsonApiRequestDeserializer::Steps::Visit() {
  const auto refusal = visitor_.Visit(request_->id, request_->method, request_->input, request_->context);
  if (refusal) error_ = MakeError("invalid_request", refusal.message());
}

JsonApiRequestDeserializer::Steps JsonApiRequestDeserializer::Begin(const boost::asio::streambuf& body,
                                                                    Core::ApiRequestVisitor& visitor) const {
  return {body, visitor};
}

bool JsonApiRequestDeserializer::Deserialize(boost::asio::streambuf& body, Core::ApiRequestVisitor& visitor,
                                             std::shared_ptr<const Data::ErrorValue>& errorOut) const {
  auto steps = Begin(body, visitor);
  while (steps.Next()) {
  }
  errorOut = steps.Error();
  return !errorOut;
}

}  // namespace Mirel::Protocol::Json
