#include "apps/hesper-bridge/connection.h"

#include <boost/asio/buffer.hpp>
#include <utility>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/guest.h"

namespace Bridge {
namespace {

using boost::system::error_code;

// For a frame, from its first byte to its last one.
constexpr std::chrono::seconds kFrameTime{30};
// For a guest to take any of what it is sent.
constexpr std::chrono::seconds kSendTime{10};
// Of acknowledgements that wait to be sent. There are no more than a few, as a guest with such is not read.
constexpr std::size_t kMostUnsent = 1 << 20;
constexpr std::size_t kSmallCapacity = 1024;
// Enough for many usual acknowledgements. A guest that reads none soon leaves the rest here, where it is
// bounded.
constexpr int kKernelBuffer = 16384;
// In one turn: a frame may come in pieces, and a guest that sends each byte by itself must not keep others
// waiting.
constexpr int kMostReads = 16;

std::unique_ptr<Wire::Framing> MakeFraming(Connection::Kind kind) {
  if (kind == Connection::Kind::Line) return std::make_unique<Wire::CobsFraming>();
  return std::make_unique<Wire::LengthFraming>();
}

// Of an empty text, large memory, which an assignment would keep.
void GiveBack(std::string& text) {
  if (text.capacity() > kSmallCapacity) std::string().swap(text);
}

}  // namespace

Connection::Connection(Context& context, Guest& guest, StreamSocket socket, std::uint32_t port, Kind kind)
    : context_(context),
      guest_(guest),
      socket_(std::move(socket)),
      port_(port),
      kind_(kind),
      framing_(MakeFraming(kind)) {}

Connection::~Connection() = default;

void Connection::Start() {
  error_code error;
  socket_.non_blocking(true, error);
  if (error) return Close();
  socket_.set_option(boost::asio::socket_base::send_buffer_size(kKernelBuffer), error);
  AwaitInput();
}

void Connection::AwaitInput() {
  if (isClosed_) return;
  socket_.async_wait(StreamSocket::wait_read, [self = shared_from_this()](const error_code& error) {
    if (!error && !self->isClosed_) self->TakeTurn();
  });
}

// Whoever waits already comes first, unless it is for what this one has begun.
void Connection::TakeTurn() {
  if (!framing_->IsInFrame() && guest_.HasWaiting()) {
    guest_.Wait(shared_from_this(), Clock::duration::zero());
  } else {
    Read();
  }
}

void Connection::Resume() {
  if (isClosed_) return;
  if (!isHolding_) return Read();
  isHolding_ = false;
  const std::string text = std::exchange(held_, {});
  const std::string rest = std::exchange(rest_, {});
  if (Offer(text, rest) && Consume(rest)) AwaitInput();
}

// Reads until a frame has ended, nothing is there or the turn is over.
void Connection::Read() {
  if (!framing_->IsInFrame() && HasUnsent()) {
    awaitsSending_ = true;
    return;
  }
  if (!framing_->IsInFrame() && !guest_.HasRoom()) return guest_.AwaitRoom(shared_from_this());
  for (int reads = 0; reads < kMostReads; ++reads) {
    error_code error;
    const auto room = boost::asio::buffer(context_.scratch, framing_->Wanted());
    const auto size = socket_.read_some(room, error);
    if (error == boost::asio::error::would_block || error == boost::asio::error::interrupted) break;
    if (error) return Close();
    if (!Consume({context_.scratch.data(), size})) return;
    if (!framing_->IsInFrame()) break;
  }
  AwaitInput();
}

// False if there is no more to do now: the guest has to wait, or the connection is closed.
bool Connection::Consume(std::string_view input) {
  const bool wasInFrame = framing_->IsInFrame();
  while (const auto text = framing_->Next(input)) {
    if (!Offer(*text, input)) return false;
  }
  if (framing_->HasFailed()) {
    guest_.Complain("has sent a frame that is too long");
    Close();
    return false;
  }
  if (framing_->IsInFrame() && !wasInFrame) frameSince_ = Clock::now();
  CountUnderWay();
  return true;
}

// False if the daemon does not take the text now. It is kept then, and so is the rest.
bool Connection::Offer(std::string_view text, std::string_view rest) {
  if (guest_.Publish(shared_from_this(), text)) return true;
  held_ = text;
  rest_ = rest;
  framing_->Release();
  isHolding_ = true;
  CountUnderWay();
  return false;
}

void Connection::Send(std::string_view text) {
  if (isClosed_) return;
  if (unsent_.size() + text.size() > kMostUnsent) return Close();
  const bool isWaiting = HasUnsent();
  // On a line another program may read by now, which has seen no frame begin.
  unsent_ += framing_->Prologue();
  framing_->Append(unsent_, text);
  if (isWaiting) return;
  unsentSince_ = Clock::now();
  Flush();
}

void Connection::Flush() {
  if (isClosed_) return;
  error_code error;
  const auto size = socket_.write_some(boost::asio::buffer(unsent_), error);
  if (error && error != boost::asio::error::would_block && error != boost::asio::error::interrupted) {
    return Close();
  }
  unsent_.erase(0, size);
  if (size != 0) unsentSince_ = Clock::now();
  CountUnderWay();
  if (HasUnsent()) {
    socket_.async_wait(StreamSocket::wait_write, [self = shared_from_this()](const error_code& failure) {
      if (!failure) self->Flush();
    });
    return;
  }
  GiveBack(unsent_);
  if (std::exchange(awaitsSending_, false)) AwaitInput();
}

void Connection::Close() {
  if (std::exchange(isClosed_, true)) return;
  error_code error;
  socket_.close(error);
  CountUnderWay();
  guest_.Forget(*this);
}

void Connection::CheckProgress(Clock::time_point now) {
  const bool isSlow = kind_ == Kind::Call && framing_->IsInFrame() && now - frameSince_ > kFrameTime;
  const bool isStuck = HasUnsent() && now - unsentSince_ > kSendTime;
  if (isSlow || isStuck) Close();
}

void Connection::CountUnderWay() {
  const bool isUnderWay = !isClosed_ && (framing_->IsInFrame() || isHolding_ || HasUnsent());
  if (isUnderWay != std::exchange(isUnderWay_, isUnderWay)) guest_.CountUnderWay(isUnderWay);
}

}  // namespace Bridge
