#include "guest/agent/intake/permissions.h"

#include <sys/stat.h>

#include <algorithm>

#include "lib/public/api/topicFilter.h"
#include "platform/corvane/textEscape.h"

namespace GuestAgent {

std::vector<Rule> StandardRules() {
  return {{"root", "", {"*"}}, {"", "hesper", {"app"}}};
}

Permissions::Stamp::Stamp(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return;
  inode = status.st_ino;
  size = status.st_size;
  changed = std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
}

Permissions::Permissions(std::vector<Rule> rules, Tell tell, Files files)
    : rules_(std::move(rules)), tell_(std::move(tell)), files_(std::move(files)) {
  Refresh();
}

void Permissions::Refresh() {
  std::vector<Stamp> stamps{Stamp(files_.passwd), Stamp(files_.group)};
  if (stamps == stamps_) return;
  stamps_ = std::move(stamps);
  Resolve();
}

void Permissions::Resolve() {
  resolved_.clear();
  for (const Rule& rule : rules_) {
    Resolved resolved{std::nullopt, std::nullopt, rule.topics};
    if (!rule.user.empty()) {
      resolved.user = FindUser(files_.passwd, rule.user);
      if (!resolved.user) {
        tell_("no user " + Corvane::Detail::EscapeName(rule.user) + " is in " + files_.passwd);
      }
    } else {
      resolved.group = FindGroup(files_.passwd, files_.group, rule.group);
      if (!resolved.group) {
        tell_("no group " + Corvane::Detail::EscapeName(rule.group) + " is in " + files_.group);
      }
    }
    resolved_.push_back(std::move(resolved));
  }
}

bool Permissions::Allow(uid_t user, gid_t group, std::string_view topic) const {
  return std::any_of(resolved_.begin(), resolved_.end(), [&](const Resolved& rule) {
    const bool isMeant = (rule.user && *rule.user == user) ||
                         (rule.group && (rule.group->id == group || rule.group->members.count(user) != 0));
    return isMeant && std::any_of(rule.topics.begin(), rule.topics.end(), [&](const std::string& prefix) {
             return prefix == "*" || NornHesper::IsUnder(topic, prefix);
           });
  });
}

}  // namespace GuestAgent
