#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace GuestLink {

// Texts between a guest's software and its host. Failures throw std::system_error.
class Channel {
 public:
  virtual ~Channel() = default;

  // False if nobody listens on the host. There may be somebody later.
  virtual bool Send(std::string_view text) = 0;
  // The host's next text, or nothing after the timeout; a signal may end the wait sooner.
  virtual std::optional<std::string> Receive(std::chrono::milliseconds timeout) = 0;
  // For poll: readable when Receive may have something. It has to be asked until it has nothing.
  virtual int Descriptor() const = 0;
};

// How the two ends of a way are set up.
struct LinkOptions {
  std::uint32_t own = 0;  // the guest's port; 0 stands for one that is chosen
  std::uint32_t host = 7777;
  std::uint32_t history = 766;
  // For the host to answer a connection; 0 stands for what is usual.
  std::chrono::milliseconds connectPatience{0};
  // For the host to take what is sent, should it hold the guest back.
  std::chrono::milliseconds sendPatience{60'000};
};

// The ways of a program to its host: as the real VM that it runs in, or as one that a host directory of this
// machine simulates.
class Way {
 public:
  virtual ~Way() = default;

  virtual std::unique_ptr<Channel> OpenPublications(const LinkOptions& options) = 0;
  // Where the host's requests for history come. Nothing is sent there.
  virtual std::unique_ptr<Channel> OpenRequests(const LinkOptions& options) = 0;
};

}  // namespace GuestLink
