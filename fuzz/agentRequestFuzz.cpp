// Datagrams of a VM's local programs to its agent.

#include <cstdint>
#include <cstdlib>

#include "guest/agent/intake/request.h"
#include "guest/agent/intake/topic.h"
#include "guest/link/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto outcome = GuestAgent::ReadRequest({reinterpret_cast<const char*>(data), size});
  const auto* item = std::get_if<GuestAgent::Item>(&outcome);
  if (item == nullptr) return 0;
  // What is taken can be published as it is.
  const auto& publication = item->publication;
  std::string again;
  if (!GuestAgent::IsTopic(publication.topic)) std::abort();
  if (!GuestLink::DecodeBase64(GuestLink::EncodeBase64(publication.payload), again) ||
      again != publication.payload) {
    std::abort();
  }
  if (PublicationText(publication, 1).find('\n') != std::string::npos) std::abort();
  return 0;
}
