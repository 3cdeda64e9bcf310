#include "apps/hesper-bridge/historyCall.h"

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <chrono>
#include <istream>
#include <utility>

#include "guest/wire/framing.h"

namespace Bridge {
namespace {

using boost::system::error_code;

constexpr std::chrono::seconds kPatience{5};
constexpr std::size_t kLongestAnswer = 64;
constexpr std::size_t kMostCalls = 4;

}  // namespace

HistoryCall::HistoryCall(boost::asio::io_context& io, std::string opening, std::string_view request)
    : socket_(io), deadline_(io), opening_(std::move(opening)), answer_(kLongestAnswer) {
  Wire::LengthFraming().Append(frame_, request);
}

void HistoryCall::Start(const Endpoint& guest, std::function<void()> done) {
  done_ = std::move(done);
  deadline_.expires_after(kPatience);
  deadline_.async_wait([self = shared_from_this()](const error_code& error) {
    if (!error) self->End();
  });
  socket_.async_connect(guest, [self = shared_from_this()](const error_code& error) {
    if (error) return self->End();
    self->opening_.empty() ? self->SendRequest() : self->SendOpening();
  });
}

void HistoryCall::SendOpening() {
  boost::asio::async_write(socket_, boost::asio::buffer(opening_),
                           [self = shared_from_this()](const error_code& error, std::size_t) {
                             error ? self->End() : self->ReadAnswer();
                           });
}

void HistoryCall::ReadAnswer() {
  boost::asio::async_read_until(
      socket_, answer_, '\n', [self = shared_from_this()](const error_code& error, std::size_t) {
        std::string word;
        const bool isOk = !error && std::istream(&self->answer_) >> word && word == "OK";
        isOk ? self->SendRequest() : self->End();
      });
}

void HistoryCall::SendRequest() {
  boost::asio::async_write(socket_, boost::asio::buffer(frame_),
                           [self = shared_from_this()](const error_code&, std::size_t) { self->End(); });
}

void HistoryCall::End() {
  if (!socket_.is_open()) return;
  Close();
  if (done_) std::exchange(done_, nullptr)();
}

void HistoryCall::Close() {
  error_code error;
  socket_.close(error);
  deadline_.cancel();
}

void HistoryCalls::Make(const HistoryCall::Endpoint& guest, const std::string& opening,
                        std::string_view request) {
  if (calls_.size() >= kMostCalls) return;
  auto call = std::make_shared<HistoryCall>(io_, opening, request);
  calls_.push_back(call);
  call->Start(guest, [this, raw = call.get()] {
    std::erase_if(calls_, [raw](const auto& other) { return other.get() == raw; });
  });
}

void HistoryCalls::Close() {
  for (const auto& call : std::exchange(calls_, {})) call->Close();
}

}  // namespace Bridge
