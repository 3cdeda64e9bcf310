#include "platform/corvane/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string_view>

#include "platform/corvane/app.h"
#include "platform/corvane/exception.h"
#include "tests/corvane/temporaryFolder.h"

namespace {

using Corvane::Service::Config;
using testing::HasSubstr;

class ConfigTest : public testing::Test {
 protected:
  std::string FailureOf(const std::string& content) {
    try {
      Config::Load(folder_.Write("config.xml", content));
    } catch (const Corvane::Exception& error) {
      return error.GetText();
    }
    return "";
  }

  TemporaryFolder folder_;
};

TEST_F(ConfigTest, ReadsValuesOfEachKind) {
  const auto config = Config::Load(folder_.Write("config.xml", R"(<?xml version="1.0"?>
    <config>
      <!-- a comment -->
      <port> 8888
      </port>
      <least>-2147483648</least>
      <on>true</on><off>0</off>
      <log><file>/a &amp; b</file><level><![CDATA[7]]></level></log>
    </config>)"));
  int32_t number = 0;
  bool flag = false;
  std::string text;
  EXPECT_TRUE(config->ReadInteger("port", &number));
  EXPECT_EQ(number, 8888);
  EXPECT_TRUE(config->ReadInteger("least", &number));
  EXPECT_EQ(number, -2147483647 - 1);
  EXPECT_TRUE(config->ReadInteger("log/level", &number));
  EXPECT_EQ(number, 7);
  EXPECT_TRUE(config->ReadBoolean("on", &flag));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(config->ReadBoolean("off", &flag));
  EXPECT_FALSE(flag);
  EXPECT_TRUE(config->ReadString("log/file", &text));
  EXPECT_EQ(text, "/a & b");
  number = 5;
  EXPECT_FALSE(config->ReadInteger("absent", &number));
  EXPECT_FALSE(config->ReadInteger("log", &number));
  EXPECT_EQ(number, 5);
}

TEST_F(ConfigTest, WrongFormsKeepTheDefaultAndTellThePlace) {
  for (const char* text : {"", "12a", "1.0", "0x10", "+5", "1 2", "2147483648", "-2147483649"}) {
    const auto config = Config::Load(
        folder_.Write("config.xml", std::string("<config>\n<port>") + text + "</port></config>"));
    int32_t number = 5;
    bool flag = true;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(config->ReadInteger("port", &number));
    EXPECT_FALSE(config->ReadBoolean("port", &flag));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(number, 5) << text;
    EXPECT_TRUE(flag) << text;
    EXPECT_THAT(log, HasSubstr("error " + (folder_ / "config.xml") + ":2: port is"));
  }
}

TEST_F(ConfigTest, BoundsAndUnknownKeys) {
  const auto config = Config::Load(folder_.Write(
      "config.xml", "<config><port>8</port>\n<prot>8</prot><log><level>6</level></log></config>"));
  int32_t number = 0;
  testing::internal::CaptureStderr();
  EXPECT_FALSE(config->ReadInteger("port", &number, 0, 7));
  EXPECT_TRUE(config->ReadInteger("port", &number, 8, 8));
  testing::internal::GetCapturedStderr();

  testing::internal::CaptureStderr();
  config->WarnAboutUnknownKeys(std::array<std::string_view, 1>{"port"});
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, HasSubstr("info " + (folder_ / "config.xml") + ":2: unknown key prot"));
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1);
}

TEST_F(ConfigTest, UnusableFilesAreRefusedWithTheReason) {
  const std::string file = folder_ / "config.xml";
  EXPECT_THAT(FailureOf(""), HasSubstr(file));
  EXPECT_THAT(FailureOf("<config>\n<port>1</prot></config>"), HasSubstr(file + ":2: not well-formed"));
  EXPECT_THAT(FailureOf("<config><port>1</port>"), HasSubstr("not well-formed"));
  EXPECT_THAT(FailureOf("<configuration/>"), HasSubstr("<configuration>, not <config>"));
  EXPECT_THAT(FailureOf("<config>\n<a>1</a>\n<a>2</a></config>"),
              HasSubstr(file + ":3: a is given twice, first in line 2"));
  EXPECT_THAT(FailureOf(std::string(1 << 20, ' ') + "<config/>"), HasSubstr("larger than"));
  EXPECT_THAT(FailureOf("<!DOCTYPE config><config/>"), HasSubstr("document type"));
  EXPECT_THAT(FailureOf("<!DOCTYPE c [<!ENTITY e SYSTEM '/etc/hostname'>]><config><a>&e;</a></config>"),
              HasSubstr("document type"));
  EXPECT_THROW(Config::Load(folder_ / "absent.xml"), Corvane::Exception);
  EXPECT_THROW(Config::Load(folder_ / "."), Corvane::Exception);
}

TEST_F(ConfigTest, InitAppBringsUpTheConfiguredLog) {
  const std::string log = folder_ / "logs/app.log";
  Corvane::Service::InitApp(
      folder_.Write("config.xml", "<config><log><level>3</level><file>" + log + "</file></log></config>"));
  const auto app = Corvane::Service::GetApp();
  EXPECT_EQ(app->GetLogger(), Corvane::Service::Logger::sDefaultLogger);
  EXPECT_EQ(app->GetLogger()->GetLevel(), 3);
  testing::internal::CaptureStderr();
  Corvane::Service::LogInternal(app->GetLogger().get(), 3, "first");
  Corvane::Service::LogInternal(app->GetLogger().get(), 4, "second");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr(" error first\n"));
  EXPECT_THAT(ReadFile(log), testing::AllOf(HasSubstr("first"), testing::Not(HasSubstr("second"))));

  const std::string blocked = folder_.Write("file", "") + "/app.log";
  EXPECT_THROW(Corvane::Service::InitApp(
                   folder_.Write("other.xml", "<config><log><file>" + blocked + "</file></log></config>")),
               Corvane::Exception);
  EXPECT_EQ(Corvane::Service::GetApp(), app);
}

}  // namespace
