#include <cerrno>
#include <memory>
#include <new>
#include <string>

#include "guest/lib/agentSocket.h"
#include "guest/lib/handoverText.h"
#include "guest/lib/hesperguest.h"

using HesperGuest::Answer;
using HesperGuest::Deadline;

namespace {

constexpr const char* kAgentSocket = "/run/hesper/guest.sock";

}  // namespace

struct hesper_agent {
  explicit hesper_agent(const char* path) : socket(path), room(HesperGuest::kLongestAnswer, '\0') {}

  int Emit(const hesper_item& item, const Deadline& deadline);

  HesperGuest::AgentSocket socket;
  std::string datagram;
  std::string room;
  // To the last item.
  Answer answer;

 private:
  int Ask(const Deadline& deadline);
  int Send(const Deadline& deadline);
};

// An agent that was started anew has another socket at the same path.
int hesper_agent::Send(const Deadline& deadline) {
  if (socket.IsOpen()) {
    const int error = socket.Send(datagram, deadline);
    if (error != -ECONNREFUSED) return error;
  }
  if (const int error = socket.Open()) return error;
  return socket.Send(datagram, deadline);
}

int hesper_agent::Ask(const Deadline& deadline) {
  if (const int error = Send(deadline)) return error;
  std::string_view text;
  const int error = socket.Receive(room, text, deadline);
  if (error != 0) return error == -EMSGSIZE ? -EBADMSG : error;
  return HesperGuest::ReadAnswer(text, answer) ? 0 : -EBADMSG;
}

int hesper_agent::Emit(const hesper_item& item, const Deadline& deadline) {
  answer = {};
  const bool isShort = HesperGuest::IsShort(item);
  if (isShort && !HesperGuest::WriteItem(item, datagram)) {
    answer = HesperGuest::Refused("topic", "the topic or another text of the item is no UTF-8");
  } else if (!isShort || datagram.size() > HESPER_LARGEST_TEXT) {
    // Escapes can make it too large as well, and a publication's text has all that the datagram has.
    answer = HesperGuest::Refused(
        "size", "the publication's text would be above " + std::to_string(HESPER_LARGEST_TEXT) + " bytes");
  } else if (const int error = Ask(deadline)) {
    // What may still come for this item goes to an address that nobody has.
    socket.Close();
    return error;
  }
  return answer.error;
}

int hesper_agent_open(hesper_agent** agent, const char* socketPath) try {
  auto opened = std::make_unique<hesper_agent>(socketPath != nullptr ? socketPath : kAgentSocket);
  if (const int error = opened->socket.Open()) return error;
  *agent = opened.release();
  return 0;
} catch (const std::bad_alloc&) {
  return -ENOMEM;
}

void hesper_agent_close(hesper_agent* agent) {
  delete agent;
}

int hesper_agent_emit(hesper_agent* agent, const hesper_item* item, int timeout,
                      std::uint64_t* sequence) try {
  const int error = agent->Emit(*item, Deadline(timeout));
  if (error == 0 && sequence != nullptr) *sequence = agent->answer.sequence;
  return error;
} catch (const std::bad_alloc&) {
  // The item may be on its way.
  agent->socket.Close();
  return -ENOMEM;
}

const char* hesper_agent_refusal(const hesper_agent* agent) {
  return agent->answer.error != 0 ? agent->answer.refusal.c_str() : nullptr;
}

const char* hesper_agent_diagnosis(const hesper_agent* agent) {
  return agent->answer.diagnosis.c_str();
}
