// Guests that send the dearest texts as often as they may: one live subscription named as often as a datagram
// holds it, and nonsense that grows when it's escaped.

#include <cstdlib>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/siege/attacks.h"
#include "lib/public/api/guestLimits.h"
#include "platform/krell/standin/guestSocket.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::uint32_t kGuests = 150;
constexpr std::uint32_t kListenerCid = kFirstHostileCid + kGuests;
constexpr std::uint32_t kHistoryPort = 766;

// What a VM gets when a subscription asks for history.
std::string IdIn(const std::string& historyRequest) {
  constexpr std::string_view kMark = "\"id\": ";
  const auto at = historyRequest.find(kMark);
  if (at == std::string::npos) throw std::runtime_error("no id in " + historyRequest);
  return std::to_string(std::strtoull(historyRequest.c_str() + at + kMark.size(), nullptr, 10));
}

std::string TextThatRepeats(const std::string& id) {
  const auto size = Testing::PublicationText(1, "siege", "", ",\"subscribers\":[]").size();
  std::string list = id;
  while (size + list.size() + 1 + id.size() <= NornHesper::kLargestDatagram) list.append(",").append(id);
  return Testing::PublicationText(1, "siege", "", ",\"subscribers\":[" + list + "]");
}

// The named subscription's client, who reads all that it gets.
void ReadAll(Testing::Subscriber& subscriber) try {
  while (true) subscriber.Next();
} catch (const std::exception&) {
}

// So many VMs send the text, each twice a second, and throw their acknowledgements away.
void SendFromAll(const Assault& assault, std::uint32_t guests, const std::string& text) {
  const auto pause = std::chrono::microseconds(500'000) / guests;  // twice a second each
  std::vector<Krell::GuestSocket> sockets;
  for (std::uint32_t i = 0; i < guests; ++i) sockets.emplace_back(kFirstHostileCid + i);
  for (auto due = Clock::now(); assault.GoesOn(); due += pause) {
    auto& socket = sockets[assault.tally.done % guests];
    socket.Send(assault.vmPort, text);
    while (socket.Receive(milliseconds(0))) continue;
    assault.Count();
    std::this_thread::sleep_until(due);
  }
}

}  // namespace

void Repeats(const Assault& assault) {
  Krell::GuestSocket listener(kListenerCid, kHistoryPort);
  Testing::Subscriber named(assault.port,
                            R"({"vm_id_type":"MGR_VM_ID","topic_prefixes":["siege"],"past_seconds":1})");
  const auto request = listener.Receive(seconds(20));
  if (!request) throw std::runtime_error("no subscription");
  const auto text = TextThatRepeats(IdIn(request->text));
  std::thread([&named] { ReadAll(named); }).detach();  // ends with the process
  SendFromAll(assault, kGuests, text);
}

// Text that is no JSON comes back in the answer, and is in the log.
void BadTexts(const Assault& assault) {
  SendFromAll(assault, kGuests, std::string(NornHesper::kLargestDatagram, '\1'));
}

}  // namespace Siege
