#include "guest/link/vmWay.h"

#include <cerrno>
#include <deque>
#include <system_error>

#include "guest/lib/hesperguest.h"

namespace GuestLink {
namespace {

// For the host to take what is sent, should it hold the guest back.
constexpr int kSendPatience = 60'000;

struct Closer {
  void operator()(hesper_guest* guest) const { hesper_close(guest); }
  void operator()(hesper_history* history) const { hesper_history_close(history); }
};

void Check(int error, const char* what) {
  if (error < 0) throw std::system_error(-error, std::generic_category(), what);
}

// What a host shows that has no bridge now, or whose bridge starts anew.
bool IsAway(int error) {
  return error == -ECONNREFUSED || error == -ECONNRESET || error == -EPIPE || error == -ETIMEDOUT ||
         error == -ENOTCONN;
}

class Publications final : public Channel {
 public:
  explicit Publications(const hesper_options& options) : options_(options) {
    const int error = Open();
    if (!IsAway(error)) Check(error, "connection to the host");
  }

  bool Send(std::string_view text) override {
    // A connection that has ended since shows it only now.
    for (int tries = 0; tries < 2; ++tries) {
      int error = guest_ ? 0 : Open();
      if (error == 0) error = hesper_send(guest_.get(), text.data(), text.size(), kSendPatience);
      if (error == 0) return true;
      guest_ = nullptr;
      if (!IsAway(error)) Check(error, "connection to the host");
    }
    return false;
  }

  std::optional<std::string> Receive(std::chrono::milliseconds timeout) override {
    if (!guest_) return std::nullopt;
    const char* text = nullptr;
    std::size_t length = 0;
    const int error = hesper_receive(guest_.get(), &text, &length, static_cast<int>(timeout.count()));
    if (error == 0) return std::string(text, length);
    if (error == -ETIMEDOUT) return std::nullopt;
    guest_ = nullptr;
    if (!IsAway(error)) Check(error, "connection to the host");
    return std::nullopt;
  }

  int Descriptor() const override { return guest_ ? hesper_descriptor(guest_.get()) : -1; }

 private:
  int Open() {
    hesper_guest* opened = nullptr;
    const int error = hesper_open(&opened, &options_);
    guest_.reset(opened);
    return error;
  }

  const hesper_options options_;
  std::unique_ptr<hesper_guest, Closer> guest_;
};

class Requests final : public Channel {
 public:
  explicit Requests(const hesper_options& options) {
    hesper_history* opened = nullptr;
    Check(hesper_history_open(&opened, &options), "port for requests for history");
    history_.reset(opened);
  }

  bool Send(std::string_view) override { return false; }

  std::optional<std::string> Receive(std::chrono::milliseconds timeout) override {
    if (waiting_.empty()) {
      const auto keep = [](void* context, const char* text, std::size_t length) {
        static_cast<std::deque<std::string>*>(context)->emplace_back(text, length);
      };
      Check(hesper_history_serve(history_.get(), keep, &waiting_, static_cast<int>(timeout.count())),
            "port for requests for history");
    }
    if (waiting_.empty()) return std::nullopt;
    std::string first = std::move(waiting_.front());
    waiting_.pop_front();
    return first;
  }

  int Descriptor() const override { return hesper_history_descriptor(history_.get()); }

 private:
  std::unique_ptr<hesper_history, Closer> history_;
  std::deque<std::string> waiting_;
};

class VmWay final : public Way {
 public:
  explicit VmWay(hesper_transport transport) : transport_(transport) {}

  std::unique_ptr<Channel> OpenPublications(const Ports& ports) override {
    return std::make_unique<Publications>(Options(ports));
  }
  std::unique_ptr<Channel> OpenRequests(const Ports& ports) override {
    return std::make_unique<Requests>(Options(ports));
  }

 private:
  hesper_options Options(const Ports& ports) const {
    return {transport_, ports.host, ports.own, ports.history, nullptr, nullptr};
  }

  const hesper_transport transport_;
};

}  // namespace

std::unique_ptr<Way> MakeVmWay(const std::string& transport) {
  return std::make_unique<VmWay>(transport == "vsock"    ? HESPER_VSOCK
                                 : transport == "serial" ? HESPER_SERIAL
                                                         : HESPER_VSOCK_OR_SERIAL);
}

}  // namespace GuestLink
