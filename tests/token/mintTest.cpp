#include "lib/token/tokenMint.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "lib/token/tokenVerifier.h"
#include "testKit.h"

namespace {

using Testing::ReadFile;
using Testing::TemporaryFolder;

using NornToken::MintError;

const NornToken::TokenClaims kAnna = {"anna", {"GUEST_DATA_ACCESS"}, 1000, 2000};

class TokenMintTest : public testing::Test {
 protected:
  std::string Mint() const { return NornToken::TokenMint(signingKey_, keys_).Mint(kAnna); }
  bool IsTaken(const std::string& token) const {
    const NornToken::TokenVerifier daemon(std::make_unique<NornToken::KeyFile>(keys_, nullptr),
                                          [] { return 1500; });
    return std::holds_alternative<NornToken::TokenIdentity>(daemon.Verify(token));
  }
  mode_t Mode(const std::string& path) const {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }

  TemporaryFolder folder_;
  const std::string keys_ = folder_ / "jwks.json";
  const std::string signingKey_ = folder_ / "tokenKey.json";
};

TEST_F(TokenMintTest, MakesOneKeyAndKeepsTheOthers) {
  const auto other = Jwk(EcKey(), "other");
  Replace(keys_, R"({"note":"kept",)" + SetOf(other).substr(1));
  EXPECT_TRUE(IsTaken(Mint()));
  const auto keys = ReadFile(keys_);
  const auto secret = ReadFile(signingKey_);
  EXPECT_TRUE(IsTaken(Mint()));
  EXPECT_EQ(ReadFile(keys_), keys);
  EXPECT_EQ(ReadFile(signingKey_), secret);
  EXPECT_EQ(Mode(signingKey_), 0600U);
  EXPECT_EQ(Mode(keys_), 0644U);
  EXPECT_EQ(keys.find("\"d\""), std::string::npos);
  for (const char* kept : {"\"note\": \"kept\"", "\"kid\": \"other\""}) {
    EXPECT_NE(keys.find(kept), std::string::npos) << keys;
  }
}

TEST_F(TokenMintTest, ManyAtOnceShareOneKey) {
  std::array<std::string, 8> tokens;
  std::vector<std::thread> threads;
  for (auto& token : tokens) threads.emplace_back([&] { token = Mint(); });
  for (auto& thread : threads) thread.join();
  for (const auto& token : tokens) {
    EXPECT_TRUE(IsTaken(token));
    EXPECT_EQ(token.substr(0, token.find('.')), tokens[0].substr(0, tokens[0].find('.')));
  }
}

TEST_F(TokenMintTest, LeavesFilesAloneThatItCanNotTrust) {
  for (const std::string broken : {"{", R"({"keys":1})", "[]"}) {
    Replace(keys_, broken);
    EXPECT_THROW(Mint(), MintError) << broken;
    EXPECT_EQ(ReadFile(keys_), broken);
  }
  Replace(keys_, R"({"keys":[]})", 0666);
  EXPECT_THROW(Mint(), MintError);

  unlink(keys_.c_str());
  ASSERT_TRUE(IsTaken(Mint()));
  chmod(signingKey_.c_str(), 0640);
  EXPECT_THROW(Mint(), MintError);
  Replace(signingKey_, "no key", 0600);
  EXPECT_THROW(Mint(), MintError);
  EXPECT_EQ(ReadFile(signingKey_), "no key");
  unlink(signingKey_.c_str());
  symlink("victim", signingKey_.c_str());
  EXPECT_THROW(Mint(), MintError);
  EXPECT_EQ(access((folder_ / "victim").c_str(), F_OK), -1);
}

TEST_F(TokenMintTest, FilesAreForTheirOwnerAloneAndLinksAreRefused) {
  const auto path = folder_ / "token";
  const auto before = umask(0);
  NornToken::WriteTokenFile(path, "a");
  EXPECT_EQ(Mode(path), 0600U);
  EXPECT_EQ(chmod(path.c_str(), 0666), 0);
  NornToken::WriteTokenFile(path, "b");
  umask(before);
  EXPECT_EQ(Mode(path), 0600U);
  EXPECT_EQ(ReadFile(path), "b\n");
  EXPECT_EQ(rename(path.c_str(), (path + ".target").c_str()) | symlink("token.target", path.c_str()), 0);
  EXPECT_THROW(NornToken::WriteTokenFile(path, "c"), NornToken::MintError);
  EXPECT_EQ(ReadFile(path), "b\n");
}

}  // namespace
