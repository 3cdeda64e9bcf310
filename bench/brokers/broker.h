#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/guests.h"
#include "platform/corvane/fileDescriptor.h"

namespace Brokers {

// A running server, and one who publishes to it. Ended by force with the object.
class Broker {
 public:
  Broker() = default;
  Broker(const Broker&) = delete;
  Broker& operator=(const Broker&) = delete;
  virtual ~Broker() = default;

  virtual pid_t Process() const = 0;
  // The connection of a new subscriber, to which elements will come.
  virtual Corvane::FileDescriptor Subscribe() = 0;
  virtual void Publish(std::string_view text) = 0;
  // Where answers to publications come in.
  virtual std::vector<int> Answers() const = 0;
};

// What a server is started for.
struct Stage {
  const std::string& daemonProgram;
  Bench::Guests& guests;
  std::size_t subscribers;
};

// How a server is called in options and tables, what it takes, and how it's started.
struct Entry {
  const char* name;
  std::vector<std::string> files;  // it's left out where one of these isn't installed
  std::unique_ptr<Broker> (*start)(const Stage& stage);
};

// In the order of the tables.
const std::vector<Entry>& Catalogue();
bool IsInstalled(const Entry& entry);

}  // namespace Brokers
