// Clients that take their time: calls that come byte by byte, and subscribers who never read what they get.

#include <memory>
#include <string>
#include <vector>

#include "bench/siege/attacks.h"
#include "bench/siege/client.h"
#include "bench/siege/crowd.h"
#include "testing/daemon.h"
#include "testing/subscriber.h"

namespace Siege {
namespace {

constexpr std::size_t kTricklers = 200;
constexpr std::size_t kReaders = 60;
constexpr std::uint32_t kLargeGuests = 10;
constexpr int kSmallBuffer = 4096;
constexpr auto kBytePause = milliseconds(200);
constexpr auto kRound = milliseconds(500);

std::vector<std::unique_ptr<Testing::Subscriber>> Subscribers(std::uint16_t port) {
  std::vector<std::unique_ptr<Testing::Subscriber>> subscribers;
  for (std::size_t i = 0; i < kReaders; ++i) {
    subscribers.push_back(std::make_unique<Testing::Subscriber>(
        port, R"({"vm_id_type":"MGR_VM_ID","topic_prefixes":["siege"]})", kSmallBuffer));
  }
  return subscribers;
}

}  // namespace

void SlowClients(const Assault& assault) {
  const auto subscribers = Subscribers(assault.port);
  const auto trickle = AnonymousCall('"' + std::string(kOpenCall) + '"', "{}");
  Crowd crowd(assault.port);
  for (std::size_t i = 0; i < kTricklers; ++i) crowd.Add(trickle, kBytePause);
  std::vector<Krell::GuestSocket> guests;
  for (std::uint32_t i = 0; i < kLargeGuests; ++i) guests.emplace_back(kFirstLargeCid + i);
  const auto text = Testing::PublicationText(1, "siege", std::string(60'000, 'Q'));
  assault.Hold(subscribers.size() + crowd.Size());
  for (auto due = Clock::now(); assault.GoesOn();) {
    crowd.Turn(milliseconds(20));
    Sleep(milliseconds(5));
    if (Clock::now() < due) continue;
    due += kRound;
    for (auto& guest : guests) {
      guest.Send(assault.vmPort, text);
      while (guest.Receive(milliseconds(0))) continue;
      assault.Count();
    }
  }
}

}  // namespace Siege
