#include "fleet/forward/outgoing.h"

#include <string_view>

#include "fleet/nats/subject.h"

namespace Fleet {
namespace {

// "NATS/1.0" and the empty line, and ": " with the end of each line.
constexpr std::string_view kHeaderFrame = "NATS/1.0\r\n\r\n";
constexpr std::size_t kLineFrame = 4;

}  // namespace

std::size_t Outgoing::HeaderBytes() const {
  std::size_t size = kHeaderFrame.size();
  for (const auto& [name, value] : headers) size += std::string_view(name).size() + value.size() + kLineFrame;
  return size;
}

Outgoing MakeOutgoing(const Origin& origin, const Element& element, Moment received) {
  return {.subject = PublicationSubject(origin.prefix, origin.host, element.vm, element.topic),
          .headers = {{"Nats-Msg-Id", EscapeToken(origin.host) + "." + IdentityOf(element)},
                      {"Hesper-Host", HeaderValue(origin.host)},
                      {"Hesper-Vm-Id-Type", HeaderValue(origin.vmIdType)},
                      {"Hesper-Vm-Id", HeaderValue(element.vm)},
                      {"Hesper-Create-Time", HeaderValue(element.createTime)},
                      {"Hesper-History", element.history ? "true" : "false"}},
          .body = element.json,
          .received = received};
}

}  // namespace Fleet
