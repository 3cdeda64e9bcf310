#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/corvane/exception.h"
#include "platform/corvane/wipedString.h"
#include "sso/anchorKeyResolver.h"
#include "sso/httpsExchange.h"
#include "sso/samlToken.h"
#include "sso/securityTokenService.h"
#include "sso/ssoExceptions.h"
#include "sso/wsTrustNames.h"
#include "testing/memoryScan.h"
#include "testing/temporaryFolder.h"

extern char** environ;

namespace {

using namespace SsoClient;
using Testing::ReadFile;
using Testing::TemporaryFolder;
namespace Security = Corvane::Xml::Security;

// The real process, on a folder of its own, with what it says there.
class TokenServiceProcess {
 public:
  TokenServiceProcess() {
    const std::string program = std::string(PROGRAM_FOLDER) + "/test-token-service";
    const std::string folder = folder_ / "";
    std::vector<char*> arguments = {const_cast<char*>(program.c_str()), const_cast<char*>(folder.c_str()),
                                    nullptr};
    if (posix_spawn(&pid_, program.c_str(), nullptr, nullptr, arguments.data(), environ) != 0) std::abort();
    for (int i = 0; i < 2000 && access((folder_ / "url").c_str(), R_OK) != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
  }
  TokenServiceProcess(const TokenServiceProcess&) = delete;
  TokenServiceProcess& operator=(const TokenServiceProcess&) = delete;
  ~TokenServiceProcess() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }

  std::string Read(const std::string& name) const { return ReadFile(folder_ / name); }
  HttpsSettings Settings(const std::string& path) const { return {Read("url") + path, folder_ / "ca.pem"}; }
  KeyResolver Resolver() const {
    return MakeAnchorKeyResolver(Security::TrustAnchors::FromPem(Read("trust.pem")));
  }
  HolderOfKeyConfig Key(const std::string& name) const {
    return {Security::Certificate::FromPem(Read(name + ".pem")),
            Security::Key::FromPrivatePem(Read(name + ".key"))};
  }
  SecurityTokenService Bearer(const std::string& path = "/sts") const {
    return {std::make_shared<HttpsExchange>(Settings(path)), Resolver()};
  }
  SecurityTokenService Holder(const std::string& path = "/sts", const std::string& key = "client") const {
    return {std::make_shared<HttpsExchange>(Settings(path)), Resolver(), Key(key)};
  }

 private:
  TemporaryFolder folder_;
  pid_t pid_ = 0;
};

TokenSpec PlainSpec() {
  TokenSpec spec;
  spec.tokenLifetimeSec = 300;
  spec.audienceRestriction = {"urn:a", "urn:b&<"};
  return spec;
}

class ExchangeTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { process_ = std::make_unique<TokenServiceProcess>(); }
  static void TearDownTestSuite() { process_.reset(); }

  static std::string Reason(const std::function<void()>& call) {
    try {
      call();
    } catch (const CommunicationException& fault) {
      return "communication: " + fault.GetText();
    } catch (const InvalidCredentialsException& fault) {
      return "credentials: " + fault.GetText();
    } catch (const Corvane::Exception& fault) {
      return fault.GetText();
    }
    return "none";
  }
  SsoClient::SecurityTokenService::TokenPtr WithPassword(SecurityTokenService&& service,
                                                         const TokenSpec& spec = PlainSpec()) {
    return service.AcquireToken(kUser, password_, spec);
  }

  static constexpr char kUser[] = "alice@example.local";
  static std::unique_ptr<TokenServiceProcess> process_;
  const std::string password_ = process_->Read("password");
};

std::unique_ptr<TokenServiceProcess> ExchangeTest::process_;

TEST_F(ExchangeTest, AnswersThatAreNone) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/html", "the answer is no XML, but text/html"},
      {"/no-type", "the answer has no content type"},
      {"/empty", "the answer is empty"},
      {"/huge", "the answer is too large"},
      {"/half", "transfer closed"},
      {"/redirect", "the answer has the HTTP status 302"},
      {"/forbidden", "the answer has the HTTP status 403"},
      {"/broken", "the answer has the HTTP status 500"},
      {"/no-fault", "the answer has the HTTP status 500 and no SOAP fault"},
      {"/no-http", "Received HTTP/0.9"},
  };
  for (const auto& [path, reason] : cases) {
    const auto got = Reason([&, at = path] { WithPassword(process_->Bearer(at)); });
    EXPECT_TRUE(got.starts_with("communication: Token service: ") && got.find(reason) != std::string::npos)
        << path << ": " << got;
    EXPECT_EQ(got.find(password_), std::string::npos);
  }
  EXPECT_EQ(Reason([&] { WithPassword(process_->Bearer("/soap12")); }),
            "Unexpected response format: missing SAOP Body.");
}

TEST_F(ExchangeTest, HostsThatAreNotBelieved) {
  const auto post = [](HttpsSettings settings) {
    return Reason([&] { HttpsExchange(std::move(settings)).Post("a", "<a/>"); });
  };
  auto settings = process_->Settings("/sts");
  const auto local = settings.url;
  settings.url.replace(8, 9, "127.0.0.1");
  EXPECT_NE(post(settings).find("does not match"), std::string::npos) << "another host's certificate";
  settings.url = local;
  settings.caFile.replace(settings.caFile.size() - 6, 6, "trust.pem");
  EXPECT_NE(post(settings).find("communication: Token service: SSL certificate problem"), std::string::npos);
  settings.caFile = "/missing.pem";
  EXPECT_NE(post(settings).find("communication: Token service: "), std::string::npos);
  for (const char* url : {"http://localhost/", "file:///etc/hostname", "", "https:/x", "ftp://https://x"}) {
    EXPECT_EQ(post({url, ""}), "The token service's URL must begin with https://");
  }
  EXPECT_NE(post({"https://localhost:1/", ""}).find("communication: Token service: "), std::string::npos);
}

TEST_F(ExchangeTest, EnvironmentChangesNothing) {
  setenv("https_proxy", "http://127.0.0.1:1", 1);
  setenv("ALL_PROXY", "http://127.0.0.1:1", 1);
  EXPECT_EQ(WithPassword(process_->Bearer())->GetSubject().name, "alice");
  unsetenv("https_proxy");
  unsetenv("ALL_PROXY");
}

TEST_F(ExchangeTest, NothingOfAPasswordStaysInMemory) {
  if (SANITIZED) GTEST_SKIP() << "the sanitizer keeps freed memory, and terabytes of its own";
  // The allocator writes into the first bytes of what was freed.
  static constexpr std::string_view kPassword = "0123456789abcdef a tail that gives it away";
  const auto tail = kPassword.substr(16);
  {
    const Corvane::WipedString password(kPassword);
    EXPECT_GT(Testing::CountInMemory(getpid(), tail), 0);
    const auto refused =
        Reason([&] { process_->Bearer().AcquireToken(kUser, password.text(), PlainSpec()); });
    EXPECT_TRUE(refused.starts_with("credentials: ")) << refused;
  }
  EXPECT_EQ(Testing::CountInMemory(getpid(), tail), 0);
}

TEST_F(ExchangeTest, BearerTokens) {
  auto service = process_->Bearer();
  const auto token = WithPassword(process_->Bearer());
  EXPECT_EQ(token->GetConfirmationType(), ConfirmationType::Bearer);
  EXPECT_EQ(token->GetAudienceRestriction(), PlainSpec().audienceRestriction);
  EXPECT_TRUE(service.ValidateToken(*token));
  auto text = token->GetText();
  text.replace(text.find("alice@"), 5, "admin");
  EXPECT_FALSE(service.ValidateToken(*ParseAssertion(text)));
  EXPECT_EQ(Reason([&] { service.AcquireToken(kUser, "s3cret", PlainSpec()); }),
            "credentials: Authentication failed: unknown user or wrong password");
}

// The service checks every signature with xmlsec1.
TEST_F(ExchangeTest, TokensBoundToTheKey) {
  auto service = process_->Holder();
  auto spec = PlainSpec();
  spec.renewable = true;
  const auto token = WithPassword(process_->Holder(), spec);
  EXPECT_TRUE(IsHolderOfKey(*token, *process_->Key("client").privateKey));
  EXPECT_TRUE(service.ValidateToken(*token));
  EXPECT_TRUE(
      IsHolderOfKey(*service.AcquireTokenByCertificate(PlainSpec()), *process_->Key("client").privateKey));
  EXPECT_EQ(service.AcquireTokenByToken(*token, spec)->GetSubject(), token->GetSubject());
  // As it may be in a file.
  const auto renewed = service.RenewToken(*ParseAssertion("<?p?>" + token->GetText() + "\n"), 500);
  EXPECT_NE(renewed->GetId(), token->GetId());
  EXPECT_GT(renewed->GetNotOnOrAfter(), token->GetNotOnOrAfter());
  auto delegated = PlainSpec();
  delegated.delegateTo = "bob@example.local";
  EXPECT_EQ(WithPassword(process_->Holder(), delegated)->GetDelegateId()->name, "bob");

  auto stranger = process_->Holder("/sts", "stranger");
  EXPECT_EQ(Reason([&] { stranger.AcquireTokenByToken(*token, spec); }),
            "credentials: Authentication failed: wrong signature");
  EXPECT_EQ(Reason([&] { stranger.RenewToken(*token, 500); }),
            "credentials: Authentication failed: unknown certificate");
  EXPECT_EQ(Reason([&] { service.RenewToken(*renewed, 500); }),
            "credentials: Authentication failed: the token may not be renewed");
}

TEST_F(ExchangeTest, ChangedRequestsAreNotBelieved) {
  RequestBuilderImpl builder(process_->Key("client"));
  std::string action;
  const auto request = builder.BuildAcquireTokenByCertificate(PlainSpec(), action);
  HttpsExchange exchange(process_->Settings("/sts"));
  EXPECT_EQ(exchange.Post(action, request).status, 200);
  for (const std::string part : {"<wst:Delegatable>", "<wsu:Timestamp "}) {
    auto changed = request;
    changed.insert(changed.find(part) + part.size(), part.back() == ' ' ? "a='' " : " ");
    EXPECT_NE(exchange.Post(action, changed).text.find("wrong signature"), std::string::npos) << part;
  }
}

TEST_F(ExchangeTest, Negotiations) {
  std::vector<std::string> seen;
  const auto step = [&seen](const std::string& leg) {
    seen.push_back(leg);
    return seen.size() == 1 ? std::string("hello") : leg;
  };
  EXPECT_EQ(process_->Bearer().AcquireTokenByGss(PlainSpec(), step)->GetSubject().name, "alice");
  ASSERT_EQ(seen.size(), 3U);
  EXPECT_EQ(seen[0] + seen[2], "welcome");
  EXPECT_TRUE(
      IsHolderOfKey(*process_->Holder().AcquireTokenByGss(
                        PlainSpec(), [](const std::string& leg) { return leg.empty() ? "hello" : leg; }),
                    *process_->Key("client").privateKey));
  EXPECT_EQ(Reason([&] { process_->Bearer().AcquireTokenByGss(PlainSpec(), [](auto&) { return "hello"; }); }),
            "credentials: Authentication failed: the negotiation failed");
}

// Keeps what is asked, and never says which negotiation its answers belong to.
class SilentExchange final : public Exchange {
 public:
  SoapAnswer Post(const std::string&, const std::string& request) override {
    requests.push_back(request);
    return {200, std::string("<S:Envelope xmlns:S='") + Names::kSoap + "' xmlns='" + Names::kTrust +
                     "'><S:Body><RequestSecurityTokenResponse>" +
                     (requests.size() == 1 ? "<BinaryExchange>bGVn</BinaryExchange>" : "") +
                     "</RequestSecurityTokenResponse></S:Body></S:Envelope>"};
  }

  std::vector<std::string> requests;
};

TEST_F(ExchangeTest, NegotiationsKeepTheirOwnId) {
  const auto exchange = std::make_shared<SilentExchange>();
  EXPECT_EQ(
      Reason([&] {
        SecurityTokenService(exchange, process_->Resolver()).AcquireTokenByGss(PlainSpec(), [](auto& leg) {
          return leg;
        });
      }),
      "The negotiation ended without a token");
  ASSERT_EQ(exchange->requests.size(), 2U);
  const auto& first = exchange->requests[0];
  const auto id = first.substr(first.find("Context=\"urn:uuid:"), 9 + 9 + 36 + 1);
  EXPECT_NE(exchange->requests[1].find("RequestSecurityTokenResponse " + id), std::string::npos) << id;
}

TEST_F(ExchangeTest, TokensThatWereNotAskedFor) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/bearer", "The token is not bound to the client's key"},
      {"/other-key", "The token is bound to another key than the client's"},
      {"/other-audience", "The token is for other audiences than those asked for"},
      {"/other-signer", "The token's signer is not trusted."},
  };
  for (const auto& [path, reason] : cases) {
    EXPECT_EQ(Reason([&, at = path] { WithPassword(process_->Holder(at)); }), reason) << path;
  }
  EXPECT_EQ(Reason([&] { WithPassword(process_->Bearer("/bound")); }),
            "The token is bound to a key, which was not asked for");
}

}  // namespace
