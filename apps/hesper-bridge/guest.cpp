#include "apps/hesper-bridge/guest.h"

#include <algorithm>
#include <utility>

#include "apps/hesper-bridge/context.h"
#include "apps/hesper-bridge/transport.h"

namespace Bridge {
namespace {

constexpr std::size_t kMostUnderWay = 4;
constexpr std::chrono::minutes kBetweenComplaints{1};
constexpr std::chrono::milliseconds kLeastRateDelay{1};

}  // namespace

Guest::Guest(Context& context, Krell::VirtualMachine vm)
    : context_(context),
      vm_(std::move(vm)),
      transport_(MakeTransport(context, *this)),
      timer_(context.io),
      frames_(std::make_shared<FrameBudget>(context.io, kMostUnderWay)) {}

Guest::~Guest() = default;

void Guest::Start() {
  transport_->Start();
}

void Guest::Close() {
  transport_->Close();
  timer_.cancel();
  waiting_.clear();
  while (!connections_.empty()) std::shared_ptr(connections_.back())->Close();
}

void Guest::Add(const std::shared_ptr<Connection>& connection) {
  connections_.push_back(connection);
  connection->Start();
}

void Guest::Admit(StreamSocket socket, std::uint32_t port, bool isPrivileged) {
  if (!isPrivileged) return Complain("was refused: its sender is not privileged");
  if (connections_.size() >= kMostConnections) return Complain("has too many connections, one was refused");
  Add(std::make_shared<Connection>(context_, *this, std::move(socket), port, Connection::Kind::Call));
}

void Guest::AddLine(StreamSocket socket, std::uint32_t port) {
  Add(std::make_shared<Connection>(context_, *this, std::move(socket), port, Connection::Kind::Line));
}

void Guest::Forget(const Connection& connection) {
  const auto isIt = [&connection](const auto& other) { return other.get() == &connection; };
  std::erase_if(waiting_, isIt);
  std::erase_if(connections_, isIt);
  transport_->Lost(connection);
}

bool Guest::Publish(const std::shared_ptr<Connection>& connection, std::string_view text) {
  const Krell::PacketSource source{vm_.identity.cid, connection->Port(), vm_.identity.privileged,
                                   vm_.cartelId};
  switch (context_.daemon.Put(source, text)) {
    case Krell::PacketFate::AboveRate:
      Wait(connection, std::max<Clock::duration>(context_.daemon.RateDelay(source.cid), kLeastRateDelay));
      return false;
    case Krell::PacketFate::NoRoom:
    case Krell::PacketFate::NobodyReceives:
      context_.daemon.Await(connection);
      return false;
    case Krell::PacketFate::NotPrivileged:
      Complain("was refused: its sender is not privileged");
      return true;
    case Krell::PacketFate::Taken:
      break;
  }
  lastPublication_ = std::chrono::system_clock::now();
  return true;
}

std::shared_ptr<Connection> Guest::Find(std::uint32_t port) const {
  const auto found = std::find_if(connections_.begin(), connections_.end(),
                                  [port](const auto& other) { return other->Port() == port; });
  return found == connections_.end() ? nullptr : *found;
}

void Guest::Acknowledge(std::uint32_t port, std::string_view text) {
  if (const auto connection = Find(port)) connection->Send(text);
}

void Guest::Ask(std::uint32_t port, std::string_view text) {
  transport_->Ask(port, text);
}

void Guest::Wait(std::shared_ptr<Connection> connection, Clock::duration delay) {
  waiting_.push_back(std::move(connection));
  if (!isArmed_) Arm(delay);
}

void Guest::Arm(Clock::duration delay) {
  isArmed_ = true;
  timer_.expires_after(delay);
  timer_.async_wait([weak = weak_from_this()](const boost::system::error_code& error) {
    const auto self = weak.lock();
    if (!error && self) self->ResumeFirst();
  });
}

void Guest::ResumeFirst() {
  isArmed_ = false;
  if (waiting_.empty()) return;
  const auto first = waiting_.front();
  waiting_.erase(waiting_.begin());
  first->Resume();
  if (!waiting_.empty() && !isArmed_) Arm(context_.daemon.RateDelay(vm_.identity.cid));
}

bool Guest::HasRoom() const {
  return frames_->IsUnused() || (frames_->HasRoom() && context_.frames->HasRoom());
}

void Guest::AwaitRoom(const std::shared_ptr<Connection>& connection) {
  (frames_->HasRoom() ? context_.frames : frames_)->Await(connection);
}

void Guest::CountUnderWay(bool isUnderWay) {
  for (const auto& frames : {frames_, context_.frames}) isUnderWay ? frames->Begin() : frames->End();
}

void Guest::CheckProgress(Clock::time_point now) {
  const auto connections = connections_;
  for (const auto& connection : connections) connection->CheckProgress(now);
  transport_->TryAgain();
}

void Guest::Complain(std::string_view text) {
  const auto now = Clock::now();
  if (now < nextComplaint_) return;
  nextComplaint_ = now + kBetweenComplaints;
  Corvane::Service::LogInternal(&context_.log, 4, "VM %1 (cid %2) %3", vm_.identity.mgrVmId, vm_.identity.cid,
                                text);
}

}  // namespace Bridge
