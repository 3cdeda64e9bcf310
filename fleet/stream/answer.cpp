#include "fleet/stream/answer.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Fleet {
namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

struct VmIdKind {
  const char* wireName;
  const char* filterField;
};

VmIdKind KindOf(const std::string& type) {
  if (type == "bios") return {"BIOS_UUID", "bios_uuid"};
  if (type == "vm") return {"VM_UUID", "vm_uuid"};
  return {"MGR_VM_ID", "mgr_vm_id"};
}

void PutText(JsonWriter& writer, const std::string& text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

// The members of "input" are the caller's.
template <typename PutInput>
std::string Request(const char* method, PutInput putInput) {
  rapidjson::StringBuffer text;
  JsonWriter writer(text);
  writer.StartObject();
  writer.Key("jsonrpc");
  writer.String("2.0");
  writer.Key("id");
  writer.Int(1);
  writer.Key("method");
  writer.String(method);
  writer.Key("params");
  writer.StartObject();
  writer.Key("input");
  writer.StartObject();
  putInput(writer);
  writer.EndObject();
  writer.EndObject();
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

void PutFilters(JsonWriter& writer, const Wanted& wanted, const char* filterField) {
  if (!wanted.vms.empty()) {
    writer.Key("vm_filter");
    writer.StartArray();
    for (const auto& vm : wanted.vms) {
      writer.StartObject();
      writer.Key(filterField);
      PutText(writer, vm);
      writer.EndObject();
    }
    writer.EndArray();
  }
  if (!wanted.topics.empty()) {
    writer.Key("topic_prefixes");
    writer.StartArray();
    for (const auto& topic : wanted.topics) PutText(writer, topic);
    writer.EndArray();
  }
}

[[noreturn]] void Refuse(const char* why) {
  throw CallFault(CallFault::Kind::Refused, why);
}

std::string ErrorText(const rapidjson::Value& error) {
  constexpr std::size_t kLongest = 1024;
  if (error.IsObject()) {
    const auto message = error.FindMember("message");
    if (message != error.MemberEnd() && message->value.IsString()) {
      return std::string(message->value.GetString(), message->value.GetStringLength()).substr(0, kLongest);
    }
  }
  return "the call was refused";
}

}  // namespace

std::string SubscriptionRequest(const Wanted& wanted) {
  return Request("com.tessaly.norn.hesper.guest_data.subscribe", [&](JsonWriter& writer) {
    const auto kind = KindOf(wanted.vmIdType);
    writer.Key("spec");
    writer.StartObject();
    writer.Key("vm_id_type");
    writer.String(kind.wireName);
    PutFilters(writer, wanted, kind.filterField);
    if (wanted.pastSeconds != 0) {
      writer.Key("past_seconds");
      writer.Int64(wanted.pastSeconds);
    }
    writer.EndObject();
  });
}

std::string StatsRequest() {
  return Request("com.tessaly.norn.hesper.stats.get", [](JsonWriter&) {});
}

DaemonAnswer::DaemonAnswer(std::string_view json) {
  document_.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  if (document_.HasParseError() || !document_.IsObject()) Refuse("an answer is no JSON object");
  const rapidjson::Value& members = document_;
  const auto error = members.FindMember("error");
  if (error != members.MemberEnd()) throw CallFault(CallFault::Kind::Refused, ErrorText(error->value));
  const auto result = members.FindMember("result");
  if (result == members.MemberEnd()) Refuse("an answer has neither a result nor an error");
  result_ = &result->value;
}

}  // namespace Fleet
