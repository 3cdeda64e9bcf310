// norn-sso: gets SAML tokens from a token service, has them renewed and checked, and shows them.

#include <termios.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
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
#include "tools/tokenView.h"

namespace {

namespace Security = Corvane::Xml::Security;
using TokenPtr = std::shared_ptr<const SsoClient::SamlToken>;

constexpr int kRefused = 1;
constexpr int kNoCommunication = 2;
constexpr int kUsageError = 64;
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
  Print(options.json ? ToJson(*token) + "\n" : ToLines(*token));
  return 0;
}

class CommandLine {
 public:
  CommandLine() {
    app_.require_subcommand(1);
    AddAcquire();
    AddValidate();
    AddRenew();
    AddShow();
  }

  CLI::App& App() { return app_; }
  int Run() const { return run_(options_); }

 private:
  CLI::App* AddCommand(const char* name, const char* purpose, int (*run)(const Options&)) {
    auto* command = app_.add_subcommand(name, purpose);
    command->callback([this, run] { run_ = run; });
    return command;
  }

  // A file that is there, or "-" where the standard input will do.
  static CLI::Option* AddFile(CLI::App* command, const char* name, std::string& file, const char* purpose,
                              bool orInput = false) {
    auto* option = command->add_option(name, file, purpose);
    return orInput ? option->check(CLI::ExistingFile | CLI::IsMember({"-"}))
                   : option->check(CLI::ExistingFile);
  }

  CLI::Option* AddService(CLI::App* command) {
    auto* sts = command->add_option("--sts", options_.sts, "the token service's URL, https://...");
    auto* ca = AddFile(command, "--ca", options_.ca,
                       "PEM: the authorities that its TLS certificate is checked against");
    sts->needs(ca);
    ca->needs(sts);
    return sts;
  }
  CLI::Option* AddTrust(CLI::App* command) {
    auto* trust =
        AddFile(command, "--trust", options_.trust,
                "PEM: the certificates of those who sign tokens, or with --signer of who issued theirs");
    command
        ->add_option("--signer", options_.signer,
                     "the common name in a signer's certificate that one of --trust issued")
        ->needs(trust);
    return trust;
  }
  CLI::Option* AddToken(CLI::App* command) {
    return AddFile(command, "--token", options_.token, "the token; - for the standard input", true)
        ->required();
  }
  CLI::Option* AddKey(CLI::App* command) {
    auto* cert = AddFile(command, "--cert", options_.cert, "PEM: the client's certificate");
    auto* key = AddFile(command, "--key", options_.key, "PEM: its private key");
    key->needs(cert);
    return cert->needs(key);
  }
  void AddLifetime(CLI::App* command) {
    command->add_option("--lifetime", options_.lifetime, "seconds that the token is wanted for")
        ->capture_default_str();
  }

  void AddAcquire() {
    auto* command = AddCommand("acquire", "get a token and write it to the standard output", &Acquire);
    AddService(command)->required();
    AddTrust(command)->required();
    auto* key = AddKey(command);
    auto* who = command->add_option_group("who asks");
    auto* user = who->add_option("--user", options_.user, "a user, name@domain");
    who->add_flag("--by-certificate", options_.byCertificate, "whom the certificate names")->needs(key);
    AddFile(who, "--by-token", options_.byToken, "whom a token that is bound to the key names")->needs(key);
    who->require_option(1);
    AddFile(command, "--password-file", options_.passwordFile,
            "the password is its first line; default: standard input")
        ->needs(user);
    AddLifetime(command);
    command
        ->add_option("--audience", options_.audiences,
                     "whom the token is for (repeat for more; default anybody)")
        ->take_all()
        ->allow_extra_args(false);
    command->add_flag("--bearer", options_.bearer, "not bound to the key");
    command->add_flag("--renewable", options_.renewable, "the token may be renewed");
    command->add_flag("--delegable", options_.delegable, "the token may be handed on");
    command->add_option("--delegate-to", options_.delegateTo, "a user to hand the token on to");
    AddFile(command, "--act-as", options_.actAs, "a token of the user to act for");
  }

  void AddValidate() {
    auto* command = AddCommand("validate", "check a token here, by the service, or both", &Validate);
    auto* sts = AddService(command);
    auto* trust = AddTrust(command);
    AddToken(command);
    command->callback([this, sts, trust] {
      if (sts->empty() && trust->empty()) throw CLI::RequiredError("--trust or --sts");
      run_ = &Validate;
    });
  }

  void AddRenew() {
    auto* command = AddCommand("renew", "have a token renewed that is bound to the client's key", &Renew);
    AddService(command)->required();
    AddTrust(command)->required();
    AddKey(command)->required();
    AddToken(command);
    AddLifetime(command);
  }

  void AddShow() {
    auto* command = AddCommand("show", "show what a token says; without --trust, whether true or not", &Show);
    AddTrust(command);
    AddToken(command);
    command->add_flag("--json", options_.json, "as one JSON object");
  }

  Options options_;
  CLI::App app_{"Gets SAML tokens from a token service, has them renewed and checked, and shows them.",
                "norn-sso"};
  int (*run_)(const Options&) = nullptr;
};

int Fail(int status, const std::exception& fault) {
  std::fprintf(stderr, "norn-sso: %s\n", Corvane::Detail::EscapeLine(fault.what()).c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CommandLine commandLine;
  try {
    commandLine.App().parse(argc, argv);
    return commandLine.Run();
  } catch (const CLI::Success& help) {
    return commandLine.App().exit(help);
  } catch (const CLI::ParseError& fault) {
    return Fail(kUsageError, fault);
  } catch (const Corvane::InvalidArgumentException& fault) {
    return Fail(kUsageError, fault);
  } catch (const Corvane::InvalidStateException& fault) {
    return Fail(kUsageError, fault);
  } catch (const SsoClient::CommunicationException& fault) {
    return Fail(kNoCommunication, fault);
  } catch (const std::exception& fault) {
    return Fail(kRefused, fault);
  }
}
