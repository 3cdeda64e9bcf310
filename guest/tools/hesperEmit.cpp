// hesper-emit: hands data to the agent of the VM that it runs in.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "guest/lib/hesperguest.h"
#include "platform/corvane/fileDescriptor.h"
#include "platform/corvane/textEscape.h"
#include "tools/arguments.h"

namespace {

constexpr int kRefused = 1;
constexpr int kNoAgent = 2;
constexpr int kDataError = 65;
constexpr int kSystemError = 71;
constexpr const char* kUsualSocket = "/run/hesper/guest.sock";
// What fits in no publication as base64 needn't be read.
constexpr std::size_t kMostPayload = std::size_t{HESPER_LARGEST_TEXT} / 4 * 3;
constexpr std::chrono::milliseconds kBetweenTries{200};

struct Options {
  std::string topic;
  std::string text;
  std::string file;
  std::string socket;
  std::string token;
  bool hasText = false;
  bool lines = false;
  bool latest = false;
  double timeout = 5;
};

// Ends the program with a status; its text is for the user.
class Failure final : public std::runtime_error {
 public:
  Failure(int status, const std::string& text) : std::runtime_error(text), status_(status) {}

  int Status() const { return status_; }

 private:
  const int status_;
};

// Some of it may be the agent's, or of the one who called.
void Tell(const std::string& text) {
  std::fprintf(stderr, "hesper-emit: %s\n", Corvane::Detail::EscapeLine(text).c_str());
}

std::string Explain(int error) {
  return std::generic_category().message(-error);
}

Failure NoAgent(const Options& options, int error) {
  if (Corvane::IsShortage(-error)) return {kSystemError, Explain(error)};
  return {kNoAgent, "no agent: " + options.socket + ": " + Explain(error)};
}

struct Closer {
  void operator()(hesper_agent* agent) const { hesper_agent_close(agent); }
};

class Emitter {
 public:
  explicit Emitter(const Options& options) : options_(options) {
    hesper_agent* agent = nullptr;
    if (const int error = hesper_agent_open(&agent, options.socket.c_str())) throw NoAgent(options, error);
    agent_.reset(agent);
  }

  // Whether it was kept; if not, where says of which payload is told. Throws a Failure if there is nobody to
  // refuse it.
  bool Emit(const std::string& payload, const std::string& where) {
    const int error = options_.lines ? EmitPatiently(payload) : EmitOnce(payload, Milliseconds());
    if (error == 0) return true;
    if (const char* refusal = hesper_agent_refusal(agent_.get())) {
      Tell(where + "refused (" + refusal + "): " + hesper_agent_diagnosis(agent_.get()));
      return false;
    }
    if (error == -ETIMEDOUT) throw Failure(kNoAgent, "no answer in " + Seconds() + " seconds");
    if (error == -EBADMSG) throw Failure(kNoAgent, "no answer: what the agent sent is none");
    throw NoAgent(options_, error);
  }

 private:
  using Clock = std::chrono::steady_clock;

  int EmitOnce(const std::string& payload, int timeout) {
    hesper_item item{};
    item.topic = options_.topic.c_str();
    item.payload = payload.data();
    item.length = payload.size();
    item.latest = options_.latest ? 1 : 0;
    item.token = options_.token.empty() ? nullptr : options_.token.c_str();
    return hesper_agent_emit(agent_.get(), &item, timeout, nullptr);
  }

  // What ends by itself is waited for: a pace that is too fast, and an agent that starts anew.
  int EmitPatiently(const std::string& payload) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(Milliseconds());
    for (;;) {
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
      const int error = EmitOnce(payload, std::max(static_cast<int>(left.count()), 0));
      const bool isPassing =
          error == -ENOBUFS || error == -EAGAIN || error == -ENOENT || error == -ECONNREFUSED;
      if (!isPassing || Clock::now() + kBetweenTries > deadline) return error;
      std::this_thread::sleep_for(kBetweenTries);
    }
  }

  int Milliseconds() const { return static_cast<int>(options_.timeout * 1000); }
  std::string Seconds() const {
    char text[32];
    std::snprintf(text, sizeof text, "%g", options_.timeout);
    return text;
  }

  const Options& options_;
  std::unique_ptr<hesper_agent, Closer> agent_;
};

[[noreturn]] void CannotRead(const std::string& name) {
  throw Failure(kDataError, "cannot read " + name + ": " + Explain(-errno));
}

// All, or one byte more than a payload may have.
std::string ReadPayload(std::FILE* file, const std::string& name) {
  std::string payload(kMostPayload + 1, '\0');
  payload.resize(std::fread(payload.data(), 1, payload.size(), file));
  if (std::ferror(file) != 0) CannotRead(name);
  return payload;
}

std::string ReadPayload(const Options& options) {
  if (options.hasText) return options.text;
  if (options.file.empty()) return ReadPayload(stdin, "standard input");
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(options.file.c_str(), "re"),
                                                             std::fclose);
  if (file == nullptr) CannotRead(options.file);
  return ReadPayload(file.get(), options.file);
}

// The next line without its end; of one that is too large a part that is too large as well. False behind the
// last one.
bool ReadLine(std::string& line) {
  line.clear();
  int character = 0;
  while ((character = std::getc(stdin)) != EOF && character != '\n') {
    if (line.size() <= kMostPayload) line.push_back(static_cast<char>(character));
  }
  if (std::ferror(stdin) != 0) CannotRead("standard input");
  return character != EOF || !line.empty();
}

int EmitLines(Emitter& emitter) {
  int status = 0;
  std::string line;
  for (std::uint64_t number = 1; ReadLine(line); ++number) {
    if (!emitter.Emit(line, "line " + std::to_string(number) + ": ")) status = kRefused;
  }
  return status;
}

int Run(const Options& options) {
  Emitter emitter(options);
  if (options.lines) return EmitLines(emitter);
  return emitter.Emit(ReadPayload(options), "") ? 0 : kRefused;
}

void AddOptions(Tools::Command& command, Options& options) {
  command.Value("TOPIC", options.topic, "words with dots between them").Required();
  const auto text = command.Value("TEXT", options.text, "the payload (default: standard input)");
  const auto file =
      command.Value("--file", options.file, "a file with the payload").ExistingFile().Excludes(text);
  command.Flag("--lines", options.lines, "each line of standard input is one publication")
      .Excludes(text)
      .Excludes(file);
  command.Flag("--latest", options.latest, "it takes the place of one of the topic that waits to be sent");
  command.Value("--token", options.token, "passed on to subscribers");
  command.Value("--socket", options.socket, "the agent's socket (or HESPER_GUEST_SOCKET)").ShowDefault();
  command.Value("--timeout", options.timeout, "seconds to wait for the agent")
      .Within(0.0, 86400.0)
      .ShowDefault();
  command.OnParsed([&options, text] { options.hasText = text.IsGiven(); });
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  const char* socket = std::getenv("HESPER_GUEST_SOCKET");
  options.socket = socket != nullptr && *socket != '\0' ? socket : kUsualSocket;
  Tools::CommandLine commandLine("hesper-emit", "Hands data to the agent of the VM that it runs in.");
  AddOptions(commandLine.Top(), options);
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  return Run(options);
} catch (const Failure& failure) {
  Tell(failure.what());
  return failure.Status();
} catch (const std::exception& error) {
  Tell(error.what());
  return kSystemError;
}
