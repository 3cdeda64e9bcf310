// hesper-subscribe: opens one subscription and prints one line of JSON a publication.

#include <curl/curl.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corvane/jsonEscape.h"
#include "platform/corvane/textEscape.h"
#include "tools/arguments.h"

namespace {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

struct Options {
  unsigned port = 9999;
  std::string vmIdType = "mgr";
  std::vector<std::string> vms;
  std::vector<std::string> topics;
  std::optional<std::int64_t> past;
  std::string tokenFile;
  std::string user;
  std::string passwordFile;
  std::uint64_t count = 0;
};

void Put(JsonWriter& writer, const std::string& text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

std::string RequestBody(const Options& options) {
  struct Kind {
    const char* wireName;
    const char* filterField;
  };
  const Kind kind = options.vmIdType == "bios" ? Kind{"BIOS_UUID", "bios_uuid"}
                    : options.vmIdType == "vm" ? Kind{"VM_UUID", "vm_uuid"}
                                               : Kind{"MGR_VM_ID", "mgr_vm_id"};
  rapidjson::StringBuffer text;
  JsonWriter writer(text);
  writer.StartObject();
  writer.Key("jsonrpc");
  writer.String("2.0");
  writer.Key("id");
  writer.Int(1);
  writer.Key("method");
  writer.String("com.tessaly.norn.hesper.guest_data.subscribe");
  writer.Key("params");
  writer.StartObject();
  writer.Key("input");
  writer.StartObject();
  writer.Key("spec");
  writer.StartObject();
  writer.Key("vm_id_type");
  writer.String(kind.wireName);
  if (!options.vms.empty()) {
    writer.Key("vm_filter");
    writer.StartArray();
    for (const auto& vm : options.vms) {
      writer.StartObject();
      writer.Key(kind.filterField);
      Put(writer, vm);
      writer.EndObject();
    }
    writer.EndArray();
  }
  if (!options.topics.empty()) {
    writer.Key("topic_prefixes");
    writer.StartArray();
    for (const auto& topic : options.topics) Put(writer, topic);
    writer.EndArray();
  }
  if (options.past) {
    writer.Key("past_seconds");
    writer.Int64(*options.past);
  }
  writer.EndObject();
  writer.EndObject();
  writer.EndObject();
  writer.EndObject();
  return {text.GetString(), text.GetSize()};
}

// Cuts a stream of frames (size in hexadecimal, line end, text, line end) into its texts.
class FrameReader {
 public:
  void Feed(std::string_view bytes) { buffer_.append(bytes); }

  // Gives nothing until a whole frame has come. Throws when the bytes are no frame.
  std::optional<std::string> Next() {
    const auto lineEnd = buffer_.find("\r\n");
    if (lineEnd == std::string::npos) {
      if (buffer_.size() > kLongestSize) throw std::runtime_error("the answer is no stream of frames");
      return std::nullopt;
    }
    std::size_t used = 0;
    std::size_t size = 0;
    try {
      size = std::stoull(buffer_.substr(0, lineEnd), &used, 16);
    } catch (const std::exception&) {
      used = 0;
    }
    if (used == 0 || used != lineEnd || size > kLargestFrame) {
      throw std::runtime_error("the answer is no stream of frames");
    }
    const auto begin = lineEnd + 2;
    if (buffer_.size() < begin + size + 2) return std::nullopt;
    auto text = buffer_.substr(begin, size);
    buffer_.erase(0, begin + size + 2);
    return text;
  }

 private:
  static constexpr std::size_t kLongestSize = 18;
  static constexpr std::size_t kLargestFrame = 16U << 20;

  std::string buffer_;
};

// Takes the answer as it comes and prints its elements. A fault is kept until the transfer has ended, since
// an exception must not pass through the C library in between.
class Printer {
 public:
  explicit Printer(std::uint64_t count) : count_(count) {}

  bool Take(std::string_view bytes) {
    try {
      frames_.Feed(bytes);
      while (!done_) {
        const auto frame = frames_.Next();
        if (!frame) break;
        Print(*frame);
      }
    } catch (const std::exception& fault) {
      fault_ = fault.what();
    }
    return fault_.empty() && !done_;
  }

  bool Done() const { return done_; }
  const std::string& Fault() const { return fault_; }

 private:
  void Print(const std::string& frame) {
    rapidjson::Document answer;
    answer.Parse<rapidjson::kParseIterativeFlag>(frame.data(), frame.size());
    if (answer.HasParseError() || !answer.IsObject()) {
      throw std::runtime_error("an element is no JSON object");
    }
    const rapidjson::Value& members = answer;
    const auto error = members.FindMember("error");
    if (error != members.MemberEnd()) throw std::runtime_error(ErrorText(error->value));
    const auto result = members.FindMember("result");
    if (result == members.MemberEnd()) {
      throw std::runtime_error("an element has neither a result nor an error");
    }
    rapidjson::StringBuffer line;
    JsonWriter writer(line);
    result->value.Accept(writer);
    // What guests write is shown on terminals.
    std::puts(Corvane::Detail::EscapeJson({line.GetString(), line.GetSize()}).c_str());
    if (std::fflush(stdout) != 0) throw std::runtime_error("standard output is closed");
    done_ = count_ != 0 && ++printed_ == count_;
  }

  static std::string ErrorText(const rapidjson::Value& error) {
    constexpr const char* kUnknown = "the call was refused";
    if (!error.IsObject()) return kUnknown;
    const auto message = error.FindMember("message");
    if (message == error.MemberEnd() || !message->value.IsString()) return kUnknown;
    return message->value.GetString();
  }

  FrameReader frames_;
  const std::uint64_t count_;
  std::uint64_t printed_ = 0;
  bool done_ = false;
  std::string fault_;
};

std::size_t OnBody(char* bytes, std::size_t size, std::size_t count, void* printer) {
  // Anything but the number of bytes taken ends the transfer.
  return static_cast<Printer*>(printer)->Take({bytes, size * count}) ? size * count : 0;
}

// A secret from a file's first line, so that it does not show in the list of processes.
std::string ReadSecret(const std::string& fileName) {
  std::ifstream file(fileName);
  std::string secret;
  if (!file || !std::getline(file, secret)) throw std::runtime_error("cannot read " + fileName);
  return secret;
}

using Headers = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

Headers MakeHeaders(const Options& options) {
  curl_slist* list = nullptr;
  for (const char* header : {"Content-Type: application/json",
                             "Accept: application/vnd.tessaly.mirel.clean.stream.json", "Expect:"}) {
    list = curl_slist_append(list, header);
  }
  if (!options.tokenFile.empty()) {
    list = curl_slist_append(list, ("Authorization: Bearer " + ReadSecret(options.tokenFile)).c_str());
  }
  return {list, &curl_slist_free_all};
}

void Subscribe(const Options& options) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), &curl_easy_cleanup);
  if (!curl) throw std::runtime_error("the HTTP library does not start");
  const auto url = "http://127.0.0.1:" + std::to_string(options.port) + "/api";
  const auto body = RequestBody(options);
  const auto headers = MakeHeaders(options);
  Printer printer(options.count);
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl.get(), CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, &OnBody);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &printer);
  if (!options.user.empty()) {
    curl_easy_setopt(curl.get(), CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    curl_easy_setopt(curl.get(), CURLOPT_USERNAME, options.user.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_PASSWORD, ReadSecret(options.passwordFile).c_str());
  }
  const auto outcome = curl_easy_perform(curl.get());
  if (printer.Done()) return;
  if (!printer.Fault().empty()) throw std::runtime_error(printer.Fault());
  if (outcome != CURLE_OK) throw std::runtime_error(url + ": " + curl_easy_strerror(outcome));
  throw std::runtime_error(url + ": the daemon ended the stream");
}

void AddOptions(Tools::Command& command, Options& options) {
  command.Value("--port", options.port, "the daemon's API port on the loopback address")
      .Within(1, 65535)
      .ShowDefault();
  command.Value("--vm-id-type", options.vmIdType, "the kind of identifier that VMs are named by")
      .OneOf({"mgr", "bios", "vm"})
      .ShowDefault();
  command.Value("--vm", options.vms, "a VM to take publications from (repeat for more; default all)")
      .Repeatable();
  command.Value("--topic", options.topics, "a topic prefix to take (repeat for more; default all)")
      .Repeatable();
  command.Value("--past", options.past, "ask the guests for their publications of that many seconds");
  const auto token =
      command.Value("--token-file", options.tokenFile, "a file that holds a token").ExistingFile();
  auto user = command.Value("--user", options.user, "user name").Excludes(token);
  const auto password =
      command.Value("--password-file", options.passwordFile, "a file that holds the password")
          .ExistingFile()
          .Needs(user);
  user.Needs(password);
  command.Value("--count", options.count, "end after that many publications (default: never)");
}

}  // namespace

int main(int argc, char** argv) try {
  Options options;
  Tools::CommandLine commandLine("hesper-subscribe",
                                 "Prints each publication of the host's VMs as one line of JSON.");
  AddOptions(commandLine.Top(), options);
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  Subscribe(options);
  return 0;
} catch (const std::exception& fault) {
  std::fprintf(stderr, "hesper-subscribe: %s\n", Corvane::Detail::EscapeLine(fault.what()).c_str());
  return 1;
}
