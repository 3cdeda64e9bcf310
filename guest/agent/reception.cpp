#include "guest/agent/reception.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <optional>
#include <utility>

#include "guest/agent/intake/request.h"
#include "lib/public/api/guestLimits.h"

namespace GuestAgent {
namespace {

// At a time: as many of the longest take some memory until they are kept.
constexpr std::size_t kBatch = 32;

using AnswerWriter = rapidjson::Writer<rapidjson::StringBuffer>;

std::string Answer(const Refusal& refusal) {
  rapidjson::StringBuffer text;
  AnswerWriter writer(text);
  writer.StartObject();
  writer.Key("status");
  writer.String("refused");
  writer.Key("error");
  writer.String(kFaultNames[static_cast<std::size_t>(refusal.fault)]);
  writer.Key("diagnosis");
  writer.String(refusal.diagnosis.data(), static_cast<rapidjson::SizeType>(refusal.diagnosis.size()));
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

std::string Answer(std::uint64_t sequence) {
  return R"({"status":"kept","sequence":)" + std::to_string(sequence) + "}";
}

}  // namespace

Reception::Reception(LocalSocket& socket, Permissions& permissions, Allowance& allowance, Store& store,
                     Schedule& schedule, Counters& counters)
    : socket_(socket),
      permissions_(permissions),
      allowance_(allowance),
      store_(store),
      schedule_(schedule),
      counters_(counters) {}

void Reception::Restore() {
  std::vector<std::uint64_t> replaced;
  store_.ForEachWaiting([&](const Store::Waiting& waiting) {
    schedule_.Charge(waiting.owner, waiting.bytes);
    const auto former = schedule_.Add(waiting.owner, waiting.topic,
                                      {waiting.sequence, waiting.bytes, waiting.isLatest, waiting.kept});
    if (former) replaced.push_back(former->entry.sequence);
  });
  for (const auto sequence : replaced) store_.Remove(sequence);
}

void Reception::Serve(std::chrono::milliseconds boot) {
  std::vector<Case> cases;
  while (cases.size() < kBatch) {
    const auto datagram = socket_.Receive();
    if (!datagram) break;
    cases.push_back({datagram->sender, Judge(*datagram, cases.size(), boot)});
  }
  Keep(cases);
  for (const Case& one : cases) {
    const auto* refusal = std::get_if<Refusal>(&one.outcome);
    if (refusal != nullptr) ++counters_.refused[static_cast<std::size_t>(refusal->fault)];
    socket_.Answer(one.sender, refusal != nullptr ? Answer(*refusal) : Answer(one.sequence));
  }
}

// before: how many are in hand already, which get the numbers before its own.
std::variant<Item, Refusal> Reception::Judge(const LocalSocket::Datagram& datagram, std::size_t before,
                                             std::chrono::milliseconds boot) {
  if (datagram.isTooLong) return Refusal{Fault::Size, "it is longer than 131072 bytes"};
  auto outcome = ReadRequest(datagram.text);
  auto* item = std::get_if<Item>(&outcome);
  if (item == nullptr) return outcome;
  item->owner = datagram.user;
  if (!permissions_.Allow(datagram.user, datagram.group, item->publication.topic)) {
    return Refusal{Fault::Permission, "user " + std::to_string(datagram.user) + " may not publish under " +
                                          item->publication.topic};
  }
  if (!allowance_.Take(item->owner, BytesOf(*item), boot)) {
    return Refusal{Fault::Rate,
                   "user " + std::to_string(datagram.user) + " hands over too much in too little time"};
  }
  const auto size = PublicationText(item->publication, store_.NextSequence() + before).size();
  if (size > NornHesper::kLargestDatagram) {
    return Refusal{Fault::Size, "the publication's text has " + std::to_string(size) +
                                    " bytes, the largest is " + std::to_string(NornHesper::kLargestDatagram)};
  }
  if (!schedule_.Reserve(item->owner, BytesOf(*item))) {
    return Refusal{Fault::Full, "too much waits to be sent"};
  }
  return outcome;
}

// All of them together, or each alone if there is no room for all.
void Reception::Keep(std::vector<Case>& cases) {
  std::vector<Item> items;
  for (const Case& one : cases) {
    if (const auto* item = std::get_if<Item>(&one.outcome)) items.push_back(*item);
  }
  if (items.empty()) return;
  auto first = store_.Keep(items);
  const bool isTogether = first.has_value();
  for (Case& one : cases) {
    const auto* item = std::get_if<Item>(&one.outcome);
    if (item == nullptr) continue;
    if (!isTogether) first = store_.Keep({item, 1});
    if (first) {
      one.sequence = (*first)++;
      Enqueue(*item, one.sequence);
    } else {
      schedule_.Release(item->owner, BytesOf(*item));
      one.outcome = Refusal{Fault::Full, "there is no room to keep it"};
    }
  }
}

void Reception::Enqueue(const Item& item, std::uint64_t sequence) {
  ++counters_.kept;
  const auto replaced = schedule_.Add(item.owner, item.publication.topic,
                                      {sequence, BytesOf(item), item.isLatest, store_.Now()});
  if (!replaced) return;
  ++counters_.replaced;
  store_.Remove(replaced->entry.sequence);
}

void Reception::Publish(const std::string& topic, std::string text) {
  const Item item{{GuestLink::CurrentTime(), topic, "", "data", std::move(text)}, true, kAgentItself};
  if (!schedule_.Reserve(item.owner, BytesOf(item))) return;
  if (const auto sequence = store_.Keep({&item, 1})) {
    Enqueue(item, *sequence);
  } else {
    schedule_.Release(item.owner, BytesOf(item));
  }
}

}  // namespace GuestAgent
