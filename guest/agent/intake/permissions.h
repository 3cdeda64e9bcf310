#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "guest/agent/intake/accounts.h"

namespace GuestAgent {

// Who may publish under which topics.
struct Rule {
  // One of the two, a name or a number.
  std::string user;
  std::string group;
  // Each stands for a topic and all below it, in whole words; "*" stands for all topics.
  std::vector<std::string> topics;
};

// Root everything, and the group "hesper" what is under "app".
std::vector<Rule> StandardRules();

// Judges senders by rules whose names are looked up in the files of accounts. The files are read again when
// they have changed, so that somebody who joins a group needn't wait for a restart.
class Permissions {
 public:
  using Tell = std::function<void(const std::string&)>;
  struct Files {
    std::string passwd = "/etc/passwd";
    std::string group = "/etc/group";
  };

  // tell takes a line about each name that is nobody's.
  Permissions(std::vector<Rule> rules, Tell tell) : Permissions(std::move(rules), std::move(tell), Files()) {}
  Permissions(std::vector<Rule> rules, Tell tell, Files files);

  // Whether the rules let this user and group publish under the topic.
  bool Allow(uid_t user, gid_t group, std::string_view topic) const;
  // Looks whether the files have changed.
  void Refresh();

 private:
  struct Resolved {
    std::optional<uid_t> user;
    std::optional<Group> group;
    std::vector<std::string> topics;
  };
  // What tells one state of a file from another.
  struct Stamp {
    explicit Stamp(const std::string& path);
    bool operator==(const Stamp&) const = default;

    ino_t inode = 0;
    off_t size = 0;
    std::chrono::nanoseconds changed{};
  };

  void Resolve();

  const std::vector<Rule> rules_;
  const Tell tell_;
  const Files files_;
  std::vector<Resolved> resolved_;
  std::vector<Stamp> stamps_;
};

}  // namespace GuestAgent
