#include "apps/hesper-bridge/serialTransport.h"

#include <boost/asio/local/stream_protocol.hpp>
#include <chrono>
#include <utility>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/guest.h"

namespace Bridge {
namespace {

constexpr std::chrono::seconds kReconnectDelay{1};
// The lines have no ports; these numbers tell them apart.
constexpr std::uint32_t kPublishLine = 1;
constexpr std::uint32_t kHistoryLine = 2;

}  // namespace

class SerialTransport::Line final : public std::enable_shared_from_this<Line> {
 public:
  Line(Context& context, Guest& guest, const std::string& path, std::uint32_t port)
      : context_(context), guest_(guest), path_(path), port_(port), timer_(context.io) {}

  void Start() {
    if (isClosed_) return;
    auto socket = std::make_shared<StreamSocket>(context_.io);
    socket->async_connect(path_, [self = shared_from_this(), socket](const boost::system::error_code& error) {
      if (self->isClosed_) return;
      if (error) return self->StartLater();
      self->guest_.AddLine(std::move(*socket), self->port_);
    });
  }

  void StartLater() {
    if (isClosed_) return;
    timer_.expires_after(kReconnectDelay);
    timer_.async_wait([self = shared_from_this()](const boost::system::error_code& error) {
      if (!error) self->Start();
    });
  }

  void Close() {
    isClosed_ = true;
    timer_.cancel();
  }

 private:
  Context& context_;
  Guest& guest_;
  const boost::asio::local::stream_protocol::endpoint path_;
  const std::uint32_t port_;
  boost::asio::steady_timer timer_;
  bool isClosed_ = false;
};

SerialTransport::SerialTransport(Context& context, Guest& guest)
    : guest_(guest),
      publish_(std::make_shared<Line>(context, guest, guest.Vm().identity.transport.path, kPublishLine)),
      history_(
          std::make_shared<Line>(context, guest, guest.Vm().identity.transport.historyPath, kHistoryLine)) {}

void SerialTransport::Start() {
  publish_->Start();
  history_->Start();
}

void SerialTransport::Close() {
  publish_->Close();
  history_->Close();
}

void SerialTransport::Ask(std::uint32_t, std::string_view text) {
  const auto line = guest_.Find(kHistoryLine);
  // Nobody reads in the guest, if the line still has an older request.
  if (line && !line->HasUnsent()) line->Send(text);
}

void SerialTransport::Lost(const Connection& connection) {
  (connection.Port() == kPublishLine ? publish_ : history_)->StartLater();
}

}  // namespace Bridge
