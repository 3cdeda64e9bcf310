#pragma once

#include <sys/types.h>

#include <optional>
#include <set>
#include <string>

namespace GuestAgent {

// A user or a group of a rule; both by name or by number.
std::optional<uid_t> FindUser(const std::string& passwdFile, const std::string& user);

struct Group {
  gid_t id = 0;
  // By the group's own list, or as their primary group.
  std::set<uid_t> members;
};
std::optional<Group> FindGroup(const std::string& passwdFile, const std::string& groupFile,
                               const std::string& group);

}  // namespace GuestAgent
