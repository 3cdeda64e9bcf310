#include "guest/link/vmWay.h"

#include <cerrno>
#include <deque>
#include <system_error>

#include "guest/lib/hesperguest.h"

namespace GuestLink {
namespace {

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
  Publications(const hesper_options& options, int patience) : options_(options), patience_(patience) {
    const int error = Open();
    if (!IsAway(error)) Check(error, "connection to the host");
  }

  bool Send(std::string_view text) override {
    // A connection that has ended since shows it only now.
    for (int tries = 0; tries < 2; ++tries) {
      int error = guest_ ? 0 : Open();
      if (error == 0) error = hesper_send(guest_.get(), text.data(), text.size(), patience_);
      if (error == 0) return true;
      guest_ = nullptr;
      if (!IsAway(error)) Check(error, "connection to the host");
      if (error == -ETIMEDOUT) break;
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
  const int patience_;
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

  std::unique_ptr<Channel> OpenPublications(const LinkOptions& options) override {
    return std::make_unique<Publications>(Options(options), static_cast<int>(options.sendPatience.count()));
  }
  std::unique_ptr<Channel> OpenRequests(const LinkOptions& options) override {
    return std::make_unique<Requests>(Options(options));
  }

 private:
  hesper_options Options(const LinkOptions& options) const {
    return {transport_,
            options.host,
            options.own,
            options.history,
            nullptr,
            nullptr,
            static_cast<std::uint32_t>(options.connectPatience.count())};
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
