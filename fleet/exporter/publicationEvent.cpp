#include "fleet/exporter/publicationEvent.h"

#include "fleet/exporter/bounds.h"
#include "fleet/exporter/jsonText.h"
#include "fleet/exporter/utf8.h"
#include "lib/public/api/topicFilter.h"
#include "platform/corvane/stringUtil.h"

namespace Fleet {

PublicationEvent MakeEvent(const Element& element, std::chrono::system_clock::time_point received) {
  PublicationEvent event;
  event.vm = ShortText(element.vm, kMostVmId);
  event.topic = ShortText(element.topic, kMostTopicLength);
  event.createTime = ShortText(element.createTime, kMostTimeLength);
  event.received = Milliseconds(received);
  event.isHistory = element.history;
  event.isText = IsUtf8(element.payload);
  event.isCut = element.payload.size() > kMostPayload;
  event.bytes = element.payload.size();
  const std::string_view payload(element.payload);
  event.payload = event.isText ? CutUtf8(payload, kMostPayload) : payload.substr(0, kMostPayload);
  return event;
}

std::string EventText(const PublicationEvent& event) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  PutText(writer, "vm", event.vm);
  PutText(writer, "topic", event.topic);
  PutText(writer, "createTime", event.createTime);
  writer.Key("received");
  writer.Int64(event.received);
  writer.Key("history");
  writer.Bool(event.isHistory);
  writer.Key("bytes");
  writer.Uint64(event.bytes);
  if (event.isText) {
    PutText(writer, "text", event.payload);
  } else {
    PutText(writer, "base64", Corvane::StringUtil::Base64Encode(event.payload));
  }
  if (event.isCut) {
    writer.Key("cut");
    writer.Bool(true);
  }
  writer.EndObject();
  // JSON escapes line ends, so that the event is one line.
  return "event: publication\ndata: " + TextOf(buffer) + "\n\n";
}

std::string SkippedText(std::uint64_t count) {
  return "event: skipped\ndata: {\"count\":" + std::to_string(count) + "}\n\n";
}

bool EventFilter::Matches(const PublicationEvent& event) const {
  if (!vm.empty() && vm != event.vm) return false;
  return topic.empty() || NornHesper::IsUnder(event.topic, topic);
}

}  // namespace Fleet
