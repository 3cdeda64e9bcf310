/* Publishes from inside a VM as fast as the host takes it, on one connection: usage: flood SECONDS. Prints
   how many publications were accepted; fails if one of those that were sent was not. Its texts are large, so
   that few of them fit into what lies between the VM and its host. */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "guest/lib/hesperguest.h"

enum { kPatience = 30000, kPayload = 60000 };

static char payload[kPayload + 1];
static char text[kPayload + 512];

static int Send(hesper_guest* guest, unsigned sequence) {
  const int length = snprintf(text, sizeof text,
                              "{\"header\":{\"sequence\":%u,\"createTime\":\"2026-01-01T00:00:00Z\","
                              "\"topic\":\"app.flood\",\"token\":\"%u\"},"
                              "\"payload\":{\"category\":\"data\",\"base64\":\"%s\"}}",
                              sequence, sequence, payload);
  return hesper_send(guest, text, (size_t)length, kPatience);
}

/* Counts the acknowledgements that come, in the order of what was sent. */
static int TakeAcknowledgement(hesper_guest* guest, unsigned* accepted, int timeout) {
  const char* answer = NULL;
  size_t size = 0;
  struct hesper_acknowledgement acknowledgement;
  const int error = hesper_receive(guest, &answer, &size, timeout);
  if (error != 0) return error;
  if (hesper_read_acknowledgement(answer, size, &acknowledgement) != 0) return -1;
  if (acknowledgement.accepted && acknowledgement.sequence == *accepted + 1) ++*accepted;
  return 0;
}

int main(int argc, char** argv) {
  const time_t end = time(NULL) + (argc > 1 ? atoi(argv[1]) : 1);
  hesper_guest* guest = NULL;
  unsigned sent = 0;
  unsigned accepted = 0;
  memset(payload, 'A', kPayload);
  int error = hesper_open(&guest, NULL);
  while (error == 0 && time(NULL) < end) {
    error = Send(guest, sent + 1);
    if (error == 0) ++sent;
    while (error == 0 && TakeAcknowledgement(guest, &accepted, 0) == 0) {
    }
  }
  for (unsigned i = accepted; error == 0 && i < sent; ++i)
    error = TakeAcknowledgement(guest, &accepted, kPatience);
  if (guest != NULL) hesper_close(guest);
  if (error != 0) fprintf(stderr, "flood: error %d after %u of %u\n", error, accepted, sent);
  printf("%u\n", accepted);
  return error == 0 && accepted == sent ? 0 : 1;
}
