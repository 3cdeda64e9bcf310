#include "lib/token/keyFile.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "testKit.h"

namespace {

using Testing::TemporaryFolder;

class KeyFileTest : public testing::Test {
 protected:
  bool Has(const std::string& kid) { return keys_.Keys()->Find(kid) != nullptr; }
  std::string SetWith(const std::string& kid) const { return SetOf(Jwk(key_, kid)); }

  const NornToken::JwkPtr key_ = EcKey();
  TemporaryFolder folder_;
  const std::string path_ = folder_ / "jwks.json";
  std::shared_ptr<KeptLog> log_ = std::make_shared<KeptLog>();
  NornToken::KeyFile keys_{path_, log_};
};

TEST_F(KeyFileTest, KeepsTheLastGoodKeysAndSaysSoOnceAChange) {
  const auto whole = SetWith("new");
  const std::vector<std::pair<std::string, std::function<void()>>> faults = {
      {"No such file", [&] { unlink(path_.c_str()); }},
      {"not valid JSON", [&] { Replace(path_, ""); }},
      {"not valid JSON", [&] { Replace(path_, whole.substr(0, whole.size() / 2)); }},
      {"longer than", [&] { Replace(path_, whole + std::string(1024 * 1024, ' ')); }},
      {"others may write", [&] { Replace(path_, whole, 0646); }},
      {"others may write", [&] { Replace(path_, whole, 0664); }},
      {"symbolic link",
       [&] {
         Replace(folder_ / "elsewhere", whole);
         EXPECT_EQ(unlink(path_.c_str()) | symlink("elsewhere", path_.c_str()), 0);
       }},
      {"no regular file", [&] { EXPECT_EQ(unlink(path_.c_str()) | mkfifo(path_.c_str(), 0600), 0); }},
  };
  for (const auto& [reason, make] : faults) {
    Replace(path_, SetWith("good"));
    ASSERT_TRUE(Has("good"));
    log_->lines.clear();
    make();
    EXPECT_TRUE(Has("good") && !Has("new")) << reason;
    ASSERT_EQ(log_->lines.size(), 1U) << reason;
    EXPECT_NE(log_->lines[0].find(reason), std::string::npos) << log_->lines[0];
  }
}

TEST_F(KeyFileTest, ReadsAgainWhatCouldNotBeReadForAMoment) {
  Replace(path_, SetWith("withdrawn"));
  ASSERT_TRUE(Has("withdrawn"));
  Replace(path_, SetOf(""));
  log_->lines.clear();
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit none = before;
  none.rlim_cur = 0;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Has("withdrawn"));
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(log_->lines.size(), 1U);
  for (int i = 0; i < 1000 && Has("withdrawn"); ++i) usleep(10'000);
  EXPECT_FALSE(Has("withdrawn"));
}

TEST_F(KeyFileTest, DoesNotBelieveAnotherUser) {
  Replace(path_, SetWith("new"));
  if (chown(path_.c_str(), 12345, 12345) != 0) GTEST_SKIP() << "only root can give a file away";
  EXPECT_FALSE(Has("new"));
}

TEST_F(KeyFileTest, TakesAFileThatIsWrittenInPlaceOnceItIsWhole) {
  const auto whole = SetWith("key");
  std::ofstream file(path_);
  file << whole.substr(0, 30) << std::flush;
  EXPECT_FALSE(Has("key"));
  file << whole.substr(30) << std::flush;
  EXPECT_TRUE(Has("key"));
}

}  // namespace
