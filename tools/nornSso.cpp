// norn-sso: gets SAML tokens from a token service, has them renewed and checked, and shows them.

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/corvane/exception.h"
#include "platform/corvane/textEscape.h"
#include "platform/corvane/xml/key.h"
#include "sso/anchorKeyResolver.h"
#include "sso/httpsExchange.h"
#include "sso/samlToken.h"
#include "sso/securityTokenService.h"
#include "sso/ssoExceptions.h"
#include "tools/arguments.h"
#include "tools/tokenView.h"

namespace {

namespace Security = Corvane::Xml::Security;
using TokenPtr = std::shared_ptr<const SsoClient::SamlToken>;

constexpr int kRefused = 1;
constexpr int kNoCommunication = 2;
// Who runs this chooses the tokens, and may have one with many groups.
constexpr std::size_t kLargestToken = 256 << 10;

struct Options {
  std::string sts;
  std::string ca;
  std::string trust;
  std::string signer;
  std::string cert;
  std::string key;
  std::string token;
  std::string user;
  std::string passwordFile;
  std::string byToken;
  std::string actAs;
  std::vector<std::string> audiences;
  std::int64_t lifetime = 3600;
  std::string delegateTo;
  bool byCertificate = false;
  bool delegable = false;
  bool renewable = false;
  bool bearer = false;
  bool json = false;
};

std::string ReadAll(std::istream& input, const std::string& name) {
  std::string text{std::istreambuf_iterator<char>(input), {}};
  if (!input || input.bad()) throw Corvane::InvalidArgumentException("cannot read " + name);
  return text;
}

// The name "-" stands for the standard input.
std::string ReadFile(const std::string& name) {
  if (name == "-") return ReadAll(std::cin, "the standard input");
  std::ifstream file(name, std::ios::binary);
  return ReadAll(file, name);
}

// Keeps what is typed off the screen.
class NoEcho {
 public:
  NoEcho() : isTerminal_(tcgetattr(STDIN_FILENO, &before_) == 0) {
    if (!isTerminal_) return;
    std::fputs("Password: ", stderr);
    auto quiet = before_;
    quiet.c_lflag &= ~tcflag_t{ECHO};
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet);
  }
  NoEcho(const NoEcho&) = delete;
  NoEcho& operator=(const NoEcho&) = delete;
  ~NoEcho() {
    if (!isTerminal_) return;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_);
    std::fputc('\n', stderr);
  }

 private:
  termios before_{};
  const bool isTerminal_;
};

// The first line, so that a password shows neither in the list of processes nor in the environment.
std::string ReadPassword(const std::string& fileName) {
  std::string password;
  if (fileName.empty()) {
    const NoEcho quiet;
    if (!std::getline(std::cin, password)) throw Corvane::InvalidArgumentException("no password was given");
    return password;
  }
  std::ifstream file(fileName);
  if (!std::getline(file, password)) throw Corvane::InvalidArgumentException("cannot read " + fileName);
  return password;
}

// What is no key or certificate is a wrong use of the options that name it.
template <typename Make>
auto FromFile(const std::string& name, Make make) try {
  return make(ReadFile(name));
} catch (const Security::XmlSecurityException& fault) {
  throw Corvane::InvalidArgumentException(name + ": " + fault.GetText());
}

SsoClient::KeyResolver MakeResolver(const Options& options) {
  return SsoClient::MakeAnchorKeyResolver(FromFile(options.trust, [&](const std::string& pem) {
    return Security::TrustAnchors::FromPem(pem, options.signer);
  }));
}

SsoClient::SecurityTokenService MakeService(const Options& options, SsoClient::KeyResolver resolver) {
  std::optional<SsoClient::HolderOfKeyConfig> holderOfKey;
  if (!options.cert.empty()) {
    holderOfKey = {FromFile(options.cert, &Security::Certificate::FromPem),
                   FromFile(options.key, &Security::Key::FromPrivatePem)};
  }
  return {std::make_shared<SsoClient::HttpsExchange>(SsoClient::HttpsSettings{options.sts, options.ca}),
          std::move(resolver), std::move(holderOfKey), kLargestToken};
}

TokenPtr ReadToken(const std::string& name) {
  return SsoClient::ParseAssertion(ReadFile(name), kLargestToken);
}

// With anchors, one that is to be believed.
TokenPtr ReadToken(const Options& options) {
  if (options.trust.empty()) return ReadToken(options.token);
  return SsoClient::ParseToken(ReadFile(options.token), MakeResolver(options), kLargestToken);
}

SsoClient::TokenSpec MakeSpec(const Options& options) {
  SsoClient::TokenSpec spec;
  spec.tokenLifetimeSec = options.lifetime;
  spec.audienceRestriction = {options.audiences.begin(), options.audiences.end()};
  spec.delegable = options.delegable;
  if (!options.delegateTo.empty()) spec.delegateTo = options.delegateTo;
  if (!options.actAs.empty()) spec.actAs = ReadToken(options.actAs);
  spec.renewable = options.renewable;
  if (options.bearer) spec.confirmationType = SsoClient::CONFIRMATION_BEARER;
  return spec;
}

void Print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  if (std::fflush(stdout) != 0) throw Corvane::Exception("cannot write to the standard output");
}

int Acquire(const Options& options) {
  auto service = MakeService(options, MakeResolver(options));
  const auto spec = MakeSpec(options);
  TokenPtr token;
  if (options.byCertificate) {
    token = service.AcquireTokenByCertificate(spec);
  } else if (!options.byToken.empty()) {
    token = service.AcquireTokenByToken(*ReadToken(options.byToken), spec);
  } else {
    token = service.AcquireToken(options.user, ReadPassword(options.passwordFile), spec);
  }
  Print(token->GetText());
  return 0;
}

int Validate(const Options& options) {
  const auto token = ReadToken(options);
  const bool isValid = options.sts.empty() || MakeService(options, {}).ValidateToken(*token);
  Print(isValid ? "valid\n" : "invalid\n");
  return isValid ? 0 : kRefused;
}

int Renew(const Options& options) {
  auto service = MakeService(options, MakeResolver(options));
  Print(service.RenewToken(*ReadToken(options.token), options.lifetime)->GetText());
  return 0;
}

int Show(const Options& options) {
  const auto token = ReadToken(options);
  Print(options.json ? Tools::ToJson(*token) + "\n" : Tools::ToLines(*token));
  return 0;
}

class Commands {
 public:
  explicit Commands(Tools::Command& top) {
    AddAcquire(top);
    AddValidate(top);
    AddRenew(top);
    AddShow(top);
  }

  // Requires: the command line was parsed, and has one of the commands.
  int Run() const { return run_(options_); }

 private:
  using Runner = int (*)(const Options&);

  Tools::Command AddCommand(Tools::Command& top, const char* name, const char* purpose, Runner run) {
    auto command = top.Subcommand(name, purpose);
    command.OnParsed([this, run] { run_ = run; });
    return command;
  }

  Tools::Option AddService(Tools::Command& command) {
    auto sts = command.Value("--sts", options_.sts, "the token service's URL, https://...");
    auto ca =
        command.Value("--ca", options_.ca, "PEM: the authorities that its TLS certificate is checked against")
            .ExistingFile()
            .Needs(sts);
    sts.Needs(ca);
    return sts;
  }
  Tools::Option AddTrust(Tools::Command& command) {
    auto trust =
        command
            .Value("--trust", options_.trust,
                   "PEM: the certificates of those who sign tokens, or with --signer of who issued theirs")
            .ExistingFile();
    command
        .Value("--signer", options_.signer,
               "the common name in a signer's certificate that one of --trust issued")
        .Needs(trust);
    return trust;
  }
  void AddToken(Tools::Command& command) {
    command.Value("--token", options_.token, "the token; - for the standard input")
        .ExistingFileOrInput()
        .Required();
  }
  Tools::Option AddKey(Tools::Command& command) {
    auto cert = command.Value("--cert", options_.cert, "PEM: the client's certificate").ExistingFile();
    const auto key = command.Value("--key", options_.key, "PEM: its private key").ExistingFile().Needs(cert);
    cert.Needs(key);
    return cert;
  }
  void AddLifetime(Tools::Command& command) {
    command.Value("--lifetime", options_.lifetime, "seconds that the token is wanted for").ShowDefault();
  }

  void AddAcquire(Tools::Command& top) {
    auto command = AddCommand(top, "acquire", "get a token and write it to the standard output", &Acquire);
    AddService(command).Required();
    AddTrust(command).Required();
    const auto key = AddKey(command);
    auto who = command.ExactlyOne("who asks");
    const auto user = who.Value("--user", options_.user, "a user, name@domain");
    who.Flag("--by-certificate", options_.byCertificate, "whom the certificate names").Needs(key);
    who.Value("--by-token", options_.byToken, "whom a token that is bound to the key names")
        .ExistingFile()
        .Needs(key);
    command
        .Value("--password-file", options_.passwordFile,
               "the password is its first line; default: standard input")
        .ExistingFile()
        .Needs(user);
    AddLifetime(command);
    command
        .Value("--audience", options_.audiences, "whom the token is for (repeat for more; default anybody)")
        .Repeatable();
    command.Flag("--bearer", options_.bearer, "not bound to the key");
    command.Flag("--renewable", options_.renewable, "the token may be renewed");
    command.Flag("--delegable", options_.delegable, "the token may be handed on");
    command.Value("--delegate-to", options_.delegateTo, "a user to hand the token on to");
    command.Value("--act-as", options_.actAs, "a token of the user to act for").ExistingFile();
  }

  void AddValidate(Tools::Command& top) {
    auto command = AddCommand(top, "validate", "check a token here, by the service, or both", &Validate);
    const auto sts = AddService(command);
    const auto trust = AddTrust(command);
    AddToken(command);
    command.OnParsed([this, sts, trust] {
      if (!sts.IsGiven() && !trust.IsGiven()) throw Tools::UsageFault("--trust or --sts is required");
      run_ = &Validate;
    });
  }

  void AddRenew(Tools::Command& top) {
    auto command = AddCommand(top, "renew", "have a token renewed that is bound to the client's key", &Renew);
    AddService(command).Required();
    AddTrust(command).Required();
    AddKey(command).Required();
    AddToken(command);
    AddLifetime(command);
  }

  void AddShow(Tools::Command& top) {
    auto command =
        AddCommand(top, "show", "show what a token says; without --trust, whether true or not", &Show);
    AddTrust(command);
    AddToken(command);
    command.Flag("--json", options_.json, "as one JSON object");
  }

  Options options_;
  Runner run_ = nullptr;
};

int Fail(int status, const std::exception& fault) {
  std::fprintf(stderr, "norn-sso: %s\n", Corvane::Detail::EscapeLine(fault.what()).c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) try {
  Tools::CommandLine commandLine(
      "norn-sso", "Gets SAML tokens from a token service, has them renewed and checked, and shows them.");
  const Commands commands(commandLine.Top());
  if (const auto status = commandLine.Parse(argc, argv)) return *status;
  return commands.Run();
} catch (const Corvane::InvalidArgumentException& fault) {
  return Fail(Tools::kUsageError, fault);
} catch (const Corvane::InvalidStateException& fault) {
  return Fail(Tools::kUsageError, fault);
} catch (const SsoClient::CommunicationException& fault) {
  return Fail(kNoCommunication, fault);
} catch (const std::exception& fault) {
  return Fail(kRefused, fault);
}
