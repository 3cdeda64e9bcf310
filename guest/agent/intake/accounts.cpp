#include "guest/agent/intake/accounts.h"

#include <grp.h>
#include <pwd.h>

#include <charconv>
#include <cstdio>
#include <memory>

// The files are read here because a static program can't load what the C library would ask (nsswitch.conf).

namespace GuestAgent {
namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::optional<unsigned> AsNumber(const std::string& text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

// Gives each entry of a file of accounts to a function, until that gives false.
template <typename Read, typename Take>
void ForEachEntry(const std::string& path, Read read, Take take) {
  const File file(std::fopen(path.c_str(), "re"));
  if (!file) return;
  while (const auto* entry = read(file.get())) {
    if (!take(*entry)) return;
  }
}

}  // namespace

std::optional<uid_t> FindUser(const std::string& passwdFile, const std::string& user) {
  std::optional<uid_t> found = AsNumber(user);
  if (found) return found;
  ForEachEntry(passwdFile, fgetpwent, [&](const passwd& entry) {
    if (user == entry.pw_name) found = entry.pw_uid;
    return !found;
  });
  return found;
}

std::optional<Group> FindGroup(const std::string& passwdFile, const std::string& groupFile,
                               const std::string& group) {
  const auto number = AsNumber(group);
  std::optional<Group> found;
  if (number) found.emplace(Group{*number, {}});
  std::set<std::string> names;
  ForEachEntry(groupFile, fgetgrent, [&](const ::group& entry) {
    if (number ? entry.gr_gid != *number : group != entry.gr_name) return true;
    found.emplace(Group{entry.gr_gid, {}});
    for (char** name = entry.gr_mem; *name != nullptr; ++name) names.insert(*name);
    return false;
  });
  if (!found) return found;
  ForEachEntry(passwdFile, fgetpwent, [&](const passwd& entry) {
    if (entry.pw_gid == found->id || names.count(entry.pw_name) != 0) found->members.insert(entry.pw_uid);
    return true;
  });
  return found;
}

}  // namespace GuestAgent
