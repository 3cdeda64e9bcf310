#include "platform/token/tokenMint.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>
#include <vector>

#include "platform/token/tokenVerifier.h"
#include "testKit.h"

namespace {

using NornToken::MintError;

const NornToken::TokenClaims kClaims = {"anna", {"GUEST_DATA_ACCESS"}, 1000, 2000};

class TokenMintTest : public testing::Test {
 protected:
  std::string Mint(const NornToken::TokenClaims& claims = kClaims) const {
    return NornToken::TokenMint(signingKey_, keys_).Mint(claims);
  }
  bool IsTaken(const std::string& token) const {
    const NornToken::TokenVerifier daemon(std::make_unique<NornToken::KeyFile>(keys_, nullptr),
                                          [] { return 1500; });
    return std::holds_alternative<NornToken::TokenIdentity>(daemon.Verify(token));
  }
  mode_t Mode(const std::string& name) const {
    struct stat status {};
    stat(folder_.Path(name).c_str(), &status);
    return status.st_mode & 07777U;
  }

  TokenFolder folder_;
  const std::string keys_ = folder_.Path("jwks.json");
  const std::string signingKey_ = folder_.Path("tokenKey.json");
};

TEST_F(TokenMintTest, MakesOneKeyAndKeepsTheOthers) {
  const auto other = Jwk(EcKey(), "other");
  folder_.Replace("jwks.json", R"({"note":"kept",)" + SetOf(other).substr(1));
  EXPECT_TRUE(IsTaken(Mint()));
  const auto keys = folder_.Read("jwks.json");
  const auto secret = folder_.Read("tokenKey.json");
  EXPECT_TRUE(IsTaken(Mint()));
  EXPECT_EQ(folder_.Read("jwks.json"), keys);
  EXPECT_EQ(folder_.Read("tokenKey.json"), secret);
  EXPECT_EQ(Mode("tokenKey.json"), 0600U);
  EXPECT_EQ(Mode("jwks.json"), 0644U);
  EXPECT_EQ(keys.find("\"d\""), std::string::npos);
  EXPECT_NE(keys.find("\"note\": \"kept\""), std::string::npos);
  EXPECT_NE(keys.find("\"kid\": \"other\""), std::string::npos);
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

TEST_F(TokenMintTest, RefusesWhatTheDaemonWouldRefuse) {
  EXPECT_THROW(Mint({"", {}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"a\nb", {}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"\xff", {}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({std::string("a\0b", 3), {}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"a", {""}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"a", {"\xff"}, 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"a", std::vector<std::string>(65, "E"), 1000, 2000}), MintError);
  EXPECT_THROW(Mint({"a", {}, 1000, 900}), MintError);
}

TEST_F(TokenMintTest, LeavesFilesAloneThatItCanNotTrust) {
  for (const std::string broken : {"{", R"({"keys":1})", "[]"}) {
    folder_.Replace("jwks.json", broken);
    EXPECT_THROW(Mint(), MintError) << broken;
    EXPECT_EQ(folder_.Read("jwks.json"), broken);
  }
  folder_.Replace("jwks.json", R"({"keys":[]})", 0666);
  EXPECT_THROW(Mint(), MintError);

  unlink(keys_.c_str());
  ASSERT_TRUE(IsTaken(Mint()));
  chmod(signingKey_.c_str(), 0640);
  EXPECT_THROW(Mint(), MintError);
  folder_.Replace("tokenKey.json", "no key", 0600);
  EXPECT_THROW(Mint(), MintError);
  EXPECT_EQ(folder_.Read("tokenKey.json"), "no key");
  unlink(signingKey_.c_str());
  symlink("victim", signingKey_.c_str());
  EXPECT_THROW(Mint(), MintError);
  EXPECT_EQ(access(folder_.Path("victim").c_str(), F_OK), -1);
}

}  // namespace
