#include "fleet/forward/makeStream.h"

#include <gtest/gtest.h>

#include <chrono>

#include "fleet/nats/natsLink.h"
#include "tests/forward/natsServer.h"

namespace {

using namespace Testing;
using namespace std::chrono_literals;

Fleet::StreamInfoHandle Info(jsCtx* jetStream) {
  jsStreamInfo* info = nullptr;
  Fleet::CheckNats(js_GetStreamInfo(&info, jetStream, "HESPER", nullptr, nullptr), "stream");
  return Fleet::StreamInfoHandle(info);
}

TEST(MakeStreamTest, ChangesItsOwnSettingsOfAStreamThatIsThere) {
  SKIP_WITHOUT_NATS();
  const NatsServer server;
  const Fleet::NatsLink link(server.Options(), "test", "_INBOX", {});
  const auto jetStream = link.JetStream(nullptr);
  const char* subject = "hesper.old";
  jsStreamConfig config;
  jsStreamConfig_Init(&config);
  config.Name = "HESPER";
  config.Subjects = &subject;
  config.SubjectsLen = 1;
  config.MaxMsgsPerSubject = 7;
  ASSERT_EQ(js_AddStream(nullptr, jetStream.get(), &config, nullptr, nullptr), NATS_OK);

  Fleet::StreamShape shape;
  shape.replicas = 1;
  shape.keep = 1h;
  shape.keepBytes = 12'345'678;
  shape.duplicates = 10min;
  Fleet::MakeStream(server.Options(), "site.hesper", shape);
  const auto info = Info(jetStream.get());
  ASSERT_EQ(info->Config->SubjectsLen, 1);
  EXPECT_STREQ(info->Config->Subjects[0], "site.hesper.>");
  EXPECT_EQ(std::chrono::nanoseconds(info->Config->MaxAge), 1h);
  EXPECT_EQ(std::chrono::nanoseconds(info->Config->Duplicates), 10min);
  EXPECT_EQ(info->Config->MaxBytes, 12'345'678);
  EXPECT_TRUE(info->Config->DenyPurge && info->Config->DenyDelete);
  EXPECT_EQ(info->Config->MaxMsgsPerSubject, 7) << "the administrator's own setting";

  shape.duplicates = 2h;
  EXPECT_THROW(Fleet::MakeStream(server.Options(), "site.hesper", shape), Fleet::NatsFault)
      << "ids that are kept longer than the messages";
}

}  // namespace
