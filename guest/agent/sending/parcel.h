#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace GuestAgent {

// One publication on its way to the host.
struct Parcel {
  std::uint64_t sequence = 0;
  std::string text;
};

// Where publications come from that are to be sent. One parcel of all sources is under way at a time; a
// source may be asked for the next one only when it has been told how the one before ended.
class Source {
 public:
  virtual ~Source() = default;

  virtual std::optional<Parcel> Next() = 0;
  // Whether it is still worth sending, after it has waited for its time or for an answer.
  virtual bool IsWanted() const = 0;
  // It leaves, for the first time or again.
  virtual void Leaves() = 0;
  // How it ended: the host took it, the host refused it for this reason, or nobody wants it any more.
  virtual void Accepted() = 0;
  virtual void Refused(std::string_view diagnosis) = 0;
  virtual void Dropped() = 0;
};

}  // namespace GuestAgent
