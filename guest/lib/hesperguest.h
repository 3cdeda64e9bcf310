/* libhesperguest: publishes from inside a VM to the guest data publisher of its host, and serves the host's
   requests for history, or hands data to the agent of the VM, which does both for all of its programs.

   The library starts no threads and installs no handlers. An object is for one thread at a time. After open
   nothing is allocated but the room that a text needs. Functions return 0 or a negative errno; times are
   milliseconds, a negative one waits without limit. The publications' and requests' texts are JSON, as
   docs/guest-protocol.md says; the library does not look into them. */

#ifndef HESPERGUEST_H
#define HESPERGUEST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The names are C's own. NOLINTBEGIN(readability-identifier-naming,modernize-*) */

/* The largest text that the host accepts, and the longest acknowledgement. */
#define HESPER_LARGEST_TEXT 69608

enum hesper_transport {
  HESPER_VSOCK_OR_SERIAL = 0,
  HESPER_VSOCK = 1,
  HESPER_SERIAL = 2,
};

/* How to reach the host. All zeros (or a null pointer) is the usual way. */
struct hesper_options {
  enum hesper_transport transport;
  /* The host's port; 0 stands for 7777. */
  uint32_t host_port;
  /* The guest's own vsock port; 0 stands for a free one below 1024, which proves to the host that the sender
     is privileged, or any free one where the process may not have such. */
  uint32_t source_port;
  /* The port on which requests for history come; 0 stands for 766. */
  uint32_t history_port;
  /* The virtio-serial ports that are used in a VM without a vsock to the host; null stands for
     /dev/virtio-ports/com.tessaly.norn.hesper.publish and .history. */
  const char* publish_device;
  const char* history_device;
  /* Milliseconds for the host to answer a vsock connection; 0 stands for the kernel's two seconds. */
  uint32_t connect_timeout;
};

/* One connection to the host. */
typedef struct hesper_guest hesper_guest;

/* Connects: by vsock, or else by virtio-serial, if the options leave that open. The object goes to *guest;
   -ENODEV: the VM has neither; -ECONNREFUSED, -ECONNRESET, -ETIMEDOUT: nobody listens on the host; -EBUSY:
   another process has the serial port. */
int hesper_open(hesper_guest** guest, const struct hesper_options* options);
void hesper_close(hesper_guest* guest);

/* Sends one text. -ETIMEDOUT: the host did not take all of it in time; -EMSGSIZE: it is above 1 MiB; -EPIPE,
   -ECONNRESET: the connection is gone, as it is when the host refuses a process that is not privileged. After
   a failure only hesper_close is of use. */
int hesper_send(hesper_guest* guest, const void* text, size_t length, int timeout);
/* Waits for the next acknowledgement. It goes to *text and *length, and is valid until the next call.
   -ETIMEDOUT: none came; -EPIPE or -ECONNRESET: the connection is gone. */
int hesper_receive(hesper_guest* guest, const char** text, size_t* length, int timeout);

/* What the host says of a publication. */
struct hesper_acknowledgement {
  int accepted;
  int has_sequence;
  uint64_t sequence;
  /* Publications a second that this VM may send. The host holds back what comes faster. */
  unsigned rate_limit;
  /* As it came; not always JSON. Valid until the next call. */
  const char* text;
  size_t length;
};
/* Reads an acknowledgement's text: -EBADMSG if it is none. */
int hesper_read_acknowledgement(const char* text, size_t length,
                                struct hesper_acknowledgement* acknowledgement);
/* Sends a text and waits for its acknowledgement, both within the time. One that comes late for an earlier
   text is passed over if both have sequence numbers: the caller's is given, 0 stands for none. */
int hesper_publish(hesper_guest* guest, const void* text, size_t length, uint64_t sequence, int timeout,
                   struct hesper_acknowledgement* acknowledgement);

/* For poll, with POLLIN: the descriptor becomes readable when hesper_receive may have something. It tells so
   once: hesper_receive is to be called until it gives -ETIMEDOUT before the descriptor is waited for again.
 */
int hesper_descriptor(const hesper_guest* guest);

/* The guest's end of requests for history. */
typedef struct hesper_history hesper_history;

/* Listens: on vsock, or else on the virtio-serial port. -EACCES: the port needs CAP_NET_BIND_SERVICE; the
   rest as hesper_open. */
int hesper_history_open(hesper_history** history, const struct hesper_options* options);
void hesper_history_close(hesper_history* history);

/* Takes one request; the text is valid during the call only. */
typedef void hesper_request_handler(void* context, const char* text, size_t length);
/* Waits for requests and gives each to the handler: those that are there, or the first that comes within the
   time. Gives how many there were, or a negative errno. Peers other than the host are refused. */
int hesper_history_serve(hesper_history* history, hesper_request_handler* handler, void* context,
                         int timeout);
/* For poll, with POLLIN: readable when hesper_history_serve may have something. */
int hesper_history_descriptor(const hesper_history* history);

/* The way to the agent of this VM, hesper-guestd. */
typedef struct hesper_agent hesper_agent;

/* What is handed over. Texts are UTF-8; a null pointer or a zero stands for what is usual. */
struct hesper_item {
  const char* topic;
  const void* payload;
  size_t length;
  /* Not 0: a newer one takes the place of one that waits to be sent. */
  int latest;
  /* Passed on to subscribers; usually empty. */
  const char* token;
  /* Usually "data". */
  const char* category;
  /* RFC 3339; usually the present. */
  const char* create_time;
};

/* Connects to the agent's socket; null stands for /run/hesper/guest.sock. -ENOENT, -ECONNREFUSED: there is no
   agent. The object goes to *agent. */
int hesper_agent_open(hesper_agent** agent, const char* socket_path);
void hesper_agent_close(hesper_agent* agent);

/* Hands over one item and waits until the agent has it on disk. Its number goes to *sequence, which may be
   null. The agent refuses it:
   -EINVAL: no such topic can be, or a text is no UTF-8;
   -EACCES: the process's user may not publish under the topic;
   -EMSGSIZE: the publication's text would be above HESPER_LARGEST_TEXT;
   -ENOBUFS: too much waits to be sent;
   -EAGAIN: too much was handed over in too little time;
   -EPROTO: it is no item to the agent, as with a wrong create_time.
   Or it may have the item or not, and a program that can't bear a loss hands it over again:
   -ETIMEDOUT: no answer came in time, or the agent's socket was full until then;
   -EBADMSG: what came is no answer.
   -ENOENT, -ECONNREFUSED: there is no agent any more. The object stays of use after each of them: it finds an
   agent that was started anew, and takes no late answer for another item's. */
int hesper_agent_emit(hesper_agent* agent, const struct hesper_item* item, int timeout, uint64_t* sequence);
/* Of the last item: the kind of its refusal ("request", "topic", "permission", "size", "full", "rate", or
   what a newer agent says), which is null if it was not refused; and why, for people, which may be empty. A
   stranger may have chosen some of the characters. Valid until the next call. */
const char* hesper_agent_refusal(const hesper_agent* agent);
const char* hesper_agent_diagnosis(const hesper_agent* agent);

/* NOLINTEND(readability-identifier-naming,modernize-*) */

#ifdef __cplusplus
}
#endif

#endif
