/* Guests' programs in C: one publishes a text and serves a request for history, one hands an item to the
 * agent. */

#include <string.h>

#include "guest/lib/hesperguest.h"

struct request {
  char* text;
  size_t room;
};

static void take(void* context, const char* text, size_t length) {
  struct request* request = context;
  if (length < request->room) memcpy(request->text, text, length);
}

int publish_and_serve(const struct hesper_options* options, const char* text, char* request, size_t room) {
  struct hesper_acknowledgement acknowledgement;
  struct request taken = {NULL, 0};
  hesper_guest* guest = NULL;
  hesper_history* history = NULL;
  int result = hesper_open(&guest, options);
  if (result == 0) result = hesper_publish(guest, text, strlen(text), 7, 20000, &acknowledgement);
  if (result == 0 && (!acknowledgement.accepted || acknowledgement.length > HESPER_LARGEST_TEXT)) result = 1;
  if (result == 0) result = hesper_history_open(&history, options);
  taken.text = request;
  taken.room = room;
  if (result == 0) result = hesper_history_serve(history, take, &taken, 20000);
  hesper_history_close(history);
  hesper_close(guest);
  return result;
}

int hand_over(const char* socket_path, const char* topic, const char* payload, uint64_t* sequence) {
  const struct hesper_item item = {.topic = topic, .payload = payload, .length = strlen(payload)};
  hesper_agent* agent = NULL;
  int result = hesper_agent_open(&agent, socket_path);
  if (result == 0) result = hesper_agent_emit(agent, &item, 20000, sequence);
  if (result == 0 && (hesper_agent_refusal(agent) != NULL || *hesper_agent_diagnosis(agent) != '\0'))
    result = 1;
  hesper_agent_close(agent);
  return result;
}
