#include <sys/epoll.h>

#include <cerrno>
#include <memory>
#include <new>
#include <string_view>
#include <utility>

#include "guest/lib/hesperguest.h"
#include "guest/lib/open.h"
#include "guest/lib/readiness.h"

using HesperGuest::Deadline;

struct hesper_guest {
  std::unique_ptr<HesperGuest::Stream> stream;
  HesperGuest::Readiness readiness;
};

int hesper_open(hesper_guest** guest, const hesper_options* options) try {
  auto opened = std::make_unique<hesper_guest>();
  if (const int error =
          HesperGuest::OpenPublications(options != nullptr ? *options : hesper_options{}, opened->stream)) {
    return error;
  }
  if (const int error = opened->readiness.Add(opened->stream->Descriptor())) return error;
  *guest = opened.release();
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

void hesper_close(hesper_guest* guest) {
  delete guest;
}

int hesper_send(hesper_guest* guest, const void* text, std::size_t length, int timeout) try {
  return guest->stream->Send({static_cast<const char*>(text), length}, Deadline(timeout));
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

int hesper_receive(hesper_guest* guest, const char** text, std::size_t* length, int timeout) try {
  guest->readiness.Clear();
  std::string_view received;
  if (const int error = guest->stream->Receive(received, Deadline(timeout))) return error;
  *text = received.data();
  *length = received.size();
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

int hesper_publish(hesper_guest* guest, const void* text, std::size_t length, std::uint64_t sequence,
                   int timeout, hesper_acknowledgement* acknowledgement) {
  const Deadline deadline(timeout);
  if (const int error = hesper_send(guest, text, length, deadline.Left())) return error;
  for (;;) {
    const char* answer = nullptr;
    std::size_t size = 0;
    if (const int error = hesper_receive(guest, &answer, &size, deadline.Left())) return error;
    if (const int error = hesper_read_acknowledgement(answer, size, acknowledgement)) return error;
    const bool isAnothers =
        sequence != 0 && acknowledgement->has_sequence != 0 && acknowledgement->sequence != sequence;
    if (!isAnothers) return 0;
  }
}

int hesper_descriptor(const hesper_guest* guest) {
  return guest->readiness.Descriptor();
}
