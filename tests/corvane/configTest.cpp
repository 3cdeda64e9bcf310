#include "platform/corvane/config.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <tuple>

#include "platform/corvane/exception.h"
#include "testing/temporaryFolder.h"

namespace {

using Corvane::Service::Config;
using testing::HasSubstr;
using Testing::TemporaryFolder;

class ConfigTest : public testing::Test {
 protected:
  Corvane::Ref<Config> Load(const std::string& content) {
    return Config::Load(folder_.Write("config.xml", content));
  }

  std::string FailureOf(const std::string& content) {
    try {
      Load(content);
    } catch (const Corvane::Exception& error) {
      return error.GetText();
    }
    return "";
  }

  TemporaryFolder folder_;
};

TEST_F(ConfigTest, ReadsValuesOfEachKind) {
  const auto config = Load(R"(<?xml version="1.0"?>
    <config>
      <!-- a comment -->
      <port> -2147483648
      </port>
      <on>true</on><off>0</off>
      <log><file>/a &amp; b</file><level><![CDATA[7]]></level></log>
    </config>)");
  std::int32_t port = 0;
  std::int32_t level = 0;
  bool on = false;
  bool off = true;
  std::string text;
  EXPECT_TRUE(config->ReadInteger("port", &port) && config->ReadInteger("log/level", &level));
  EXPECT_TRUE(config->ReadBoolean("on", &on) && config->ReadBoolean("off", &off));
  EXPECT_TRUE(config->ReadString("log/file", &text));
  EXPECT_EQ(std::tie(port, level, on, off, text), std::make_tuple(-2147483647 - 1, 7, true, false, "/a & b"));
  EXPECT_FALSE(config->ReadInteger("absent", &level) || config->ReadInteger("log", &level));
  EXPECT_EQ(level, 7);
}

TEST_F(ConfigTest, WrongFormsKeepTheDefaultAndTellThePlace) {
  for (const char* text : {"", "12a", "1.0", "0x10", "+5", "1 2", "2147483648", "-2147483649", "8"}) {
    const auto config = Load(std::string("<config>\n<port>") + text + "</port><prot/></config>");
    std::int32_t number = 5;
    bool flag = true;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(config->ReadInteger("port", &number, 0, 7) || config->ReadBoolean("port", &flag));
    config->WarnAboutUnknownKeys(std::array<std::string_view, 1>{"port"});
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::ContainsRegex(" error [^\n]+config.xml:2: port is [^\n]+\n[^\n]+port is [^\n]+\n"
                                       "[^\n]+ info [^\n]+config.xml:2: unknown key prot is ignored\n$"));
    EXPECT_TRUE(number == 5 && flag) << text;
  }
}

TEST_F(ConfigTest, AnEmptyFileSetsNothing) {
  for (const char* content : {"", " \n", "<?xml version=\"1.0\"?>\n", "<!-- nothing yet -->\n"}) {
    std::int32_t port = 0;
    EXPECT_FALSE(Load(content)->ReadInteger("port", &port)) << content;
  }
}

TEST_F(ConfigTest, UnusableFilesAreRefusedWithTheReason) {
  const std::pair<std::string, const char*> cases[] = {
      {"x", "config.xml:1: not well-formed"},
      {"<!-- only -->x", "not well-formed"},
      {"<config>\n<port>1</prot></config>", "config.xml:2: not well-formed"},
      {"<config><port>1</port>", "not well-formed"},
      {"<configuration/>", "<configuration>, not <config>"},
      {"<config>\n<a>1</a>\n<a>2</a></config>", "config.xml:3: a is given twice, first in line 2"},
      {std::string(1 << 20, ' ') + "<config/>", "larger than"},
      {"<!DOCTYPE c [<!ENTITY e SYSTEM '/etc/hostname'>]><config><a>&e;</a></config>", "document type"},
  };
  for (const auto& [content, reason] : cases) EXPECT_THAT(FailureOf(content), HasSubstr(reason));
  EXPECT_THROW(Config::Load(folder_ / "absent.xml"), Corvane::Exception);
  EXPECT_THROW(Config::Load(folder_ / "."), Corvane::Exception);
}

}  // namespace
