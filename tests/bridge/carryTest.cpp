#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "tests/bridge/road.h"

namespace {

using namespace Testing;

// The same for both ways that a guest has to the host.
template <typename VmDouble>
class CarryTest : public ::testing::Test {
 protected:
  Road road;
  VmDouble vm{road.Choice("a")};
};

using Ways = ::testing::Types<HybridVm, SerialVm>;
TYPED_TEST_SUITE(CarryTest, Ways);

TYPED_TEST(CarryTest, PublicationsRequestsAndAcknowledgementsArrive) {
  this->vm.Listen();
  auto stream = this->vm.Connect(this->road.port());
  auto subscriber = this->road.Subscribe(R"(,"topic_prefixes":["a"])");
  EXPECT_EQ(this->vm.ReceiveRequest(), R"({ "pastSeconds": 60, "id": 0, "topicPrefixes": [ "a" ] })");
  EXPECT_EQ(stream.Publish(PublicationText(1, "a.past", "aGk=", R"(,"subscribers":[0])")),
            GoodAcknowledgement(1));
  const auto past = subscriber.Next();
  EXPECT_TRUE(Tells(past, "topic", "a.past") && past.find(R"("history":true)") != std::string::npos) << past;
  EXPECT_EQ(stream.Publish(Text(2, "a.live")), GoodAcknowledgement(2));
  const auto live = subscriber.Next();
  EXPECT_TRUE(Tells(live, "topic", "a.live") && Tells(live, "payload", "aGk=")) << live;
  EXPECT_TRUE(Tells(live, "mgr_vm_id", "vm-a")) << live;
}

TYPED_TEST(CarryTest, FramesMayBeSplitAnywhereAndFollowOneAnother) {
  auto stream = this->vm.Connect(this->road.port());
  const auto frame = stream.Frame(Text(1));
  for (std::size_t at = 0, size = 1; at < frame.size(); at += size++) {
    stream.SendBytes(frame.substr(at, size));
    ASSERT_TRUE(stream.IsTaken());
  }
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(1));
  const auto last = stream.Frame(FilledText(4, "a", 60000));
  stream.SendBytes(stream.Frame(Text(2)) + stream.Frame(Text(3)) + last.substr(0, 30000));
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(2));
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(3));
  stream.SendBytes(last.substr(30000));
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(4));
}

TYPED_TEST(CarryTest, GoesOnWithAGuestThatComesBack) {
  std::optional<GuestStream> stream(this->vm.Connect(this->road.port()));
  EXPECT_EQ(stream->Publish(Text(1)), GoodAcknowledgement(1));
  stream->SendBytes(stream->Frame(Text(2)).substr(0, 9));
  this->vm.StopListening();
  stream.reset();
  this->vm.Listen();
  EXPECT_EQ(this->vm.Connect(this->road.port()).Publish(Text(3)), GoodAcknowledgement(3));
  auto subscriber = this->road.Subscribe();
  EXPECT_EQ(this->vm.ReceiveRequest(), R"({ "pastSeconds": 60, "id": 0 })");
}

// A guest's programs open the line one after another, and only the first one has seen it begin.
TEST(SerialTest, EachProgramHearsItsFirstAcknowledgement) {
  Road road;
  SerialVm vm(road.Choice("a"));
  auto stream = vm.Connect();
  for (std::uint64_t program = 1; program <= 3; ++program) {
    EXPECT_EQ(stream.Publish(Text(program)), GoodAcknowledgement(program));
    stream.PassOn(std::make_unique<Wire::CobsFraming>());
  }
}

// What another program of the guest has left on the line, or a terminal.
TEST(SerialTest, FindsTheNextTextBehindNoise) {
  Road road;
  SerialVm vm(road.Choice("a"));
  auto stream = vm.Connect();
  const auto frame = stream.Frame(Text(1));
  stream.SendBytes(std::string(5000, '\xff') + '\0' + frame);
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(1));
  stream.SendBytes(frame.substr(0, frame.size() / 2));
  stream.SendBytes('\0' + stream.Frame(Text(2)));
  EXPECT_EQ(stream.Receive(), GoodAcknowledgement(2));
  // A line without an end of a frame is taken up again.
  stream.SendBytes(std::string((1 << 20) + 20000, '\xff'));
  EXPECT_TRUE(stream.Closes());
  EXPECT_EQ(vm.Connect().Publish(Text(3)), GoodAcknowledgement(3));
  EXPECT_EQ(
      road.bridge->Logged("VM vm-a (cid " + std::to_string(vm.cid()) + ") has sent a frame that is too long"),
      1U);
}

}  // namespace
