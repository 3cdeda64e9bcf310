// test-token-service: a small WS-Trust service over HTTPS, to try clients against. It makes its keys in
// the folder that is given and writes its URL there, when it listens. Requests' signatures are checked with
// the command xmlsec1, which knows nothing of this tree. The path chooses how it behaves; see kBehaviours.

#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/ssl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

#include "platform/corvane/dateTime.h"
#include "platform/corvane/stringUtil.h"
#include "platform/corvane/xml/canonicalizer.h"
#include "platform/corvane/xml/node.h"
#include "platform/corvane/xml/parser.h"
#include "platform/corvane/xml/reader.h"
#include "sso/anchorKeyResolver.h"
#include "sso/parseToken.h"
#include "sso/samlNames.h"
#include "sso/wsTrustNames.h"
#include "testing/sso/assertionFactory.h"

namespace {

using namespace SsoClient;
using AssertionFactory::Identity;
using Corvane::Xml::Node;
namespace Security = Corvane::Xml::Security;

constexpr char kUser[] = "alice@example.local";
constexpr char kPassword[] = "o<&>\"'\xc3\xa9 z";

// What becomes a SOAP fault.
struct Fault {
  const char* namespaceUri;
  std::string code;
  std::string reason;
};

[[noreturn]] void Refuse(const std::string& reason) {
  throw Fault{Names::kTrust, "FailedAuthentication", reason};
}
[[noreturn]] void RefuseToken(const std::string& reason) {
  throw Fault{Names::kSecurity, "InvalidSecurityToken", reason};
}
void Require(bool condition, const std::string& what) {
  if (!condition) throw Fault{Names::kTrust, "InvalidRequest", what};
}

Node Find(Node node, std::initializer_list<const char*> path) {
  for (const char* name : path) {
    Node child = node ? node.GetFirstChild() : Node();
    while (child && !(child.IsElement() && child.GetLocalName() == name)) child = child.GetNextSibling();
    node = child;
  }
  return node;
}
Node Get(const Node& node, std::initializer_list<const char*> path) {
  auto found = Find(node, path);
  Require(bool(found), std::string("missing ") + *(path.end() - 1));
  return found;
}
std::string Text(const Node& element) {
  const auto child = element ? element.GetFirstChild() : Node();
  return child ? std::string(child.GetText()) : "";
}
std::string Attribute(const Node& element, const char* name, const char* space = "") {
  return element.GetAttribute(name, space).value_or("");
}
// For the factory, which takes XML.
std::string Escape(const std::string& text) {
  std::string escaped;
  for (const char c : text) escaped += c == '&' ? "&amp;" : c == '<' ? "&lt;" : std::string(1, c);
  return escaped;
}
std::int64_t Time(const Node& element) {
  return Corvane::System::DateTime::Parse(Text(element)).GetUtcTime();
}

class TokenService {
 public:
  explicit TokenService(std::filesystem::path folder) : folder_(std::move(folder)) {
    Write("ca.pem", ca_.certificatePem);
    Write("trust.pem", signer_.certificatePem);
    Write("client.pem", client_.certificatePem);
    Write("client.key", client_.privateKeyPem);
    Write("stranger.pem", stranger_.certificatePem);
    Write("stranger.key", stranger_.privateKeyPem);
    Write("password", kPassword);
  }

  const Identity& Tls() const { return tls_; }
  void Write(const std::string& name, const std::string& text) const {
    std::ofstream(folder_ / (name + ".new"), std::ios::binary) << text;
    std::filesystem::rename(folder_ / (name + ".new"), folder_ / name);
  }

  // The content of the answer's body.
  std::string Answer(const std::string& action, const std::string& request, const std::string& path) {
    const auto root = Corvane::Xml::ParseText(request)->GetRoot();
    const auto body = Get(root, {"Body"});
    const auto security = Get(root, {"Header", "Security"});
    CheckTimestamp(Get(security, {"Timestamp"}));
    const auto signer = CheckSignature(request, root, security);
    if (action == Names::kIssueAction) {
      return Issue(Get(body, {"RequestSecurityToken"}), security, signer, path);
    }
    if (action == Names::kContinueAction) return Continue(Get(body, {"RequestSecurityTokenResponse"}));
    if (action == Names::kValidateAction) {
      return Validate(Get(body, {"RequestSecurityToken", "ValidateTarget"}));
    }
    Require(action == Names::kRenewAction, "unknown action");
    return Renew(Get(body, {"RequestSecurityToken"}), signer);
  }

 private:
  static void CheckTimestamp(const Node& timestamp) {
    const auto now = Corvane::System::GetUtcDateTime().GetUtcTime();
    const auto created = Time(Get(timestamp, {"Created"}));
    Require(created <= now && created > now - 60'000'000, "not created just now");
    Require(Time(Get(timestamp, {"Expires"})) == created + 600'000'000, "lives for other than ten minutes");
  }

  // The certificate in base 64 of whoever signed the request; empty when nobody did.
  std::string CheckSignature(const std::string& request, const Node& root, const Node& security) const {
    const auto signature = Find(security, {"Signature"});
    if (!signature) return {};
    std::set<std::string> covered;
    for (auto child = Get(signature, {"SignedInfo"}).GetFirstChild(); child; child = child.GetNextSibling()) {
      if (child.GetLocalName() == "Reference") covered.insert(Attribute(child, "URI"));
    }
    Require(covered ==
                std::set<std::string>{"#" + Attribute(Get(root, {"Body"}), "Id", Names::kUtility),
                                      "#" + Attribute(Get(security, {"Timestamp"}), "Id", Names::kUtility)},
            "the signature covers something else");
    const auto reference = Get(signature, {"KeyInfo", "SecurityTokenReference"});
    std::string certificate;
    if (const auto id = Find(reference, {"KeyIdentifier"})) {
      const auto token = Get(security, {"Assertion"});
      if (Text(id) != Attribute(token, "ID")) RefuseToken("the signature is for another token");
      certificate = Text(Find(token, {"Subject", "SubjectConfirmation", "SubjectConfirmationData", "KeyInfo",
                                      "X509Data", "X509Certificate"}));
      if (certificate.empty()) RefuseToken("the token is not bound to a key");
    } else {
      const auto token = Get(security, {"BinarySecurityToken"});
      Require(
          Attribute(Get(reference, {"Reference"}), "URI") == "#" + Attribute(token, "Id", Names::kUtility),
          "the key info names nothing");
      certificate = Text(token);
      if (certificate != client_.certificate->GetBase64()) Refuse("unknown certificate");
    }
    Write("request.xml", request);
    Write("signer.pem", "-----BEGIN CERTIFICATE-----\n" + Fold(certificate) + "-----END CERTIFICATE-----\n");
    if (!RunXmlsec()) Refuse("wrong signature");
    return certificate;
  }

  static std::string Fold(const std::string& text) {
    std::string lines;
    for (std::size_t i = 0; i < text.size(); i += 64) lines += text.substr(i, 64) + "\n";
    return lines;
  }

  // Of the request; a token in it has a signature as well.
  bool RunXmlsec() const {
    const std::string body = std::string(Names::kSoap) + ":Body";
    const std::string timestamp = std::string(Names::kUtility) + ":Timestamp";
    const std::string signer = folder_ / "signer.pem";
    const std::string request = folder_ / "request.xml";
    std::array<const char*, 12> arguments = {
        "xmlsec1",           "--verify",        "--id-attr:Id",  body.c_str(),
        "--id-attr:Id",      timestamp.c_str(), "--node-xpath",  "/*/*/*/*[local-name()='Signature']",
        "--pubkey-cert-pem", signer.c_str(),    request.c_str(), nullptr};
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&quiet, STDOUT_FILENO, STDERR_FILENO);
    pid_t child = 0;
    const int fault =
        posix_spawnp(&child, "xmlsec1", &quiet, nullptr, const_cast<char**>(arguments.data()), environ);
    posix_spawn_file_actions_destroy(&quiet);
    if (fault != 0) throw std::runtime_error("xmlsec1 does not start");
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
  }

  std::shared_ptr<const SamlToken> Believe(const Node& assertion) const {
    const auto writer = Corvane::CreateStringWriter();
    Security::CreateCanonicalizer(Security::CanonicalizationMethod::Inclusive)
        ->Canonicalize(assertion, *writer);
    return ParseToken(writer->GetText(), [this](const SamlToken&) { return signer_.key; });
  }

  std::string Authenticate(const Node& request, const Node& security, const std::string& signer) const {
    if (const auto user = Find(security, {"UsernameToken"})) {
      if (Text(Get(user, {"Username"})) != kUser || Text(Get(user, {"Password"})) != kPassword) {
        Refuse("unknown user or wrong password");
      }
      return kUser;
    }
    if (const auto token = Find(security, {"Assertion"})) {
      const auto believed = Believe(token);
      return believed->GetSubject().name + "@" + believed->GetSubject().domain;
    }
    if (Find(request, {"BinaryExchange"})) return kUser;
    if (signer.empty()) Refuse("who asks is not told");
    return "client@example.local";
  }

  std::string Issue(const Node& request, const Node& security, const std::string& signer,
                    const std::string& path) {
    AssertionFactory::AssertionSpec spec;
    spec.user = Authenticate(request, security, signer);
    const auto lifetime = Get(request, {"Lifetime"});
    spec.endsInSeconds = (Time(Get(lifetime, {"Expires"})) - Time(Get(lifetime, {"Created"}))) / 1'000'000;
    spec.renewable = Attribute(Get(request, {"Renewing"}), "Allow") == "true";
    spec.delegateTo = Text(Find(request, {"DelegateTo", "UsernameToken", "Username"}));
    const auto participants = Find(request, {"Participants"});
    for (auto one = participants ? participants.GetFirstChild() : Node(); one; one = one.GetNextSibling()) {
      spec.audiences.push_back(Escape(Text(Get(one, {"EndpointReference", "Address"}))));
    }
    if (Text(Get(request, {"KeyType"})) == Names::kPublicKey && spec.delegateTo.empty()) {
      Require(!signer.empty(), "no proof of the key");
      const bool byToken = bool(Find(security, {"Assertion"}));
      Require(byToken ||
                  Attribute(Get(request, {"UseKey"}), "Sig") == Attribute(Get(security, {"Signature"}), "Id"),
              "the key to use is not told");
      spec.holderCertificate = signer;
    }
    if (path == "/bearer") spec.holderCertificate.clear();
    if (path == "/bound") spec.holderCertificate = client_.certificate->GetBase64();
    if (path == "/other-key") spec.holderCertificate = stranger_.certificate->GetBase64();
    if (path == "/other-audience") spec.audiences = {"urn:elsewhere"};
    const auto token = MakeToken(path == "/other-signer" ? stranger_ : signer_, spec);
    if (Find(request, {"BinaryExchange"})) return Challenge(request, token);
    return Collection("", Requested(token));
  }

  // The mechanism: the client says "hello", gets a number, and says it in return.
  std::string Challenge(const Node& request, const std::string& token) {
    Require(Corvane::StringUtil::Base64Decode(Text(Get(request, {"BinaryExchange"}))) == "hello", "no hello");
    const auto context = Attribute(request, "Context");
    pending_[context] = {Corvane::StringUtil::GenerateUuid(), token};
    return Response(context, Leg(pending_[context].first));
  }

  std::string Continue(const Node& answer) {
    const auto context = Attribute(answer, "Context");
    const auto leg = Corvane::StringUtil::Base64Decode(Text(Get(answer, {"BinaryExchange"})));
    const auto position = pending_.find(context);
    if (position == pending_.end() || position->second.first != leg) Refuse("the negotiation failed");
    return Collection(context, Requested(position->second.second) + Leg("welcome"));
  }

  std::string Validate(const Node& target) const {
    const char* verdict = Names::kStatusValid;
    try {
      Believe(Get(target, {"Assertion"}));
    } catch (const Corvane::Exception&) {
      verdict = Names::kStatusInvalid;
    }
    return Response("", "<wst:Status><wst:Code>" + std::string(verdict) + "</wst:Code></wst:Status>");
  }

  std::string Renew(const Node& request, const std::string& signer) const try {
    const auto token = Believe(Get(request, {"RenewTarget", "Assertion"}));
    if (!token->GetRenewRestriction()) RefuseToken("the token may not be renewed");
    if (token->GetConfirmationCertificate() != signer) RefuseToken("the token is bound to another key");
    AssertionFactory::AssertionSpec spec;
    spec.user = token->GetSubject().name + "@" + token->GetSubject().domain;
    for (const auto& audience : token->GetAudienceRestriction()) spec.audiences.push_back(Escape(audience));
    spec.holderCertificate = signer;
    const auto lifetime = Get(request, {"Lifetime"});
    spec.endsInSeconds = (Time(Get(lifetime, {"Expires"})) - Time(Get(lifetime, {"Created"}))) / 1'000'000;
    return Response("", Requested(MakeToken(signer_, spec)));
  } catch (const Corvane::Exception& fault) {
    RefuseToken(fault.GetText());
  }

  static std::string Leg(const std::string& leg) {
    return "<wst:BinaryExchange>" + Corvane::StringUtil::Base64Encode(leg) + "</wst:BinaryExchange>";
  }
  static std::string Requested(const std::string& token) {
    return std::string("<wst:TokenType>") + kAssertionNamespace +
           "</wst:TokenType><wst:RequestedSecurityToken>" + token + "</wst:RequestedSecurityToken>";
  }
  static std::string Response(const std::string& context, const std::string& content) {
    return "<wst:RequestSecurityTokenResponse" + (context.empty() ? "" : " Context=\"" + context + '"') +
           ">" + content + "</wst:RequestSecurityTokenResponse>";
  }
  static std::string Collection(const std::string& context, const std::string& content) {
    return "<wst:RequestSecurityTokenResponseCollection>" + Response(context, content) +
           "</wst:RequestSecurityTokenResponseCollection>";
  }

  const std::filesystem::path folder_;
  const Identity ca_ =
      AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::Rsa2048, {.commonName = "test CA"});
  const Identity tls_ = AssertionFactory::MakeIdentity(
      AssertionFactory::KeyKind::Rsa2048, {.commonName = "localhost", .issuer = &ca_, .isAuthority = false});
  const Identity signer_ = AssertionFactory::MakeIdentity();
  const Identity client_ =
      AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::Rsa2048, {.commonName = "client"});
  const Identity stranger_ =
      AssertionFactory::MakeIdentity(AssertionFactory::KeyKind::Rsa2048, {.commonName = "stranger"});
  std::map<std::string, std::pair<std::string, std::string>> pending_;  // context: expected leg, token
};

std::string Envelope(const std::string& content, const char* space = Names::kSoap) {
  return std::string("<?xml version=\"1.0\"?>\n<S:Envelope xmlns:S=\"") + space + "\" xmlns:wst=\"" +
         Names::kTrust + "\">\n  <S:Body>" + content + "</S:Body>\n</S:Envelope>\n";
}

std::string Http(const std::string& status, const std::string& type, const std::string& body,
                 const std::string& more = "") {
  return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
         "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + more + "Connection: close\r\n\r\n" +
         body;
}

// Paths that answer the same whatever is asked.
const std::map<std::string, std::string> kBehaviours = {
    {"/html", Http("200 OK", "text/html", Envelope(""))},
    {"/no-type", "HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n<a/>"},
    {"/empty", Http("200 OK", "text/xml", "")},
    {"/half", "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\nContent-Length: 9000\r\n\r\n<S:Envelope"},
    {"/redirect", Http("302 Found", "text/xml", "", "Location: /sts\r\n")},
    {"/forbidden", Http("403 Forbidden", "text/xml", Envelope(""))},
    {"/broken", Http("500 Internal Server Error", "text/html", "<html>")},
    {"/no-fault", Http("500 Internal Server Error", "text/xml", Envelope(""))},
    {"/soap12",
     Http("200 OK", "application/soap+xml", Envelope("", "http://www.w3.org/2003/05/soap-envelope"))},
    {"/no-http", "SSH-2.0-nothing\r\n"},
};

class Connection {
 public:
  Connection(SSL_CTX* context, int socket) : socket_(socket), ssl_(SSL_new(context), &SSL_free) {
    const timeval patience{10, 0};
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    SSL_set_fd(ssl_.get(), socket);
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    SSL_shutdown(ssl_.get());
    ssl_.reset();
    close(socket_);
  }

  bool Accept() { return SSL_accept(ssl_.get()) == 1; }
  bool Send(const std::string& text) {
    return SSL_write(ssl_.get(), text.data(), static_cast<int>(text.size())) > 0;
  }
  // Head and body of one request; nothing when the client goes.
  std::optional<std::pair<std::string, std::string>> Read() {
    std::string bytes;
    std::size_t end = 0;
    while ((end = bytes.find("\r\n\r\n")) == std::string::npos) {
      if (!More(bytes)) return std::nullopt;
    }
    const auto head = bytes.substr(0, end);
    auto body = bytes.substr(end + 4);
    const auto size = std::stoul(Header(head, "Content-Length: "));
    while (body.size() < size) {
      if (!More(body)) return std::nullopt;
    }
    return std::pair{head, body};
  }

  static std::string Header(const std::string& head, const std::string& name) {
    const auto begin = head.find("\r\n" + name);
    if (begin == std::string::npos) throw std::runtime_error("a header is missing");
    const auto value = begin + 2 + name.size();
    return head.substr(value, head.find("\r\n", value) - value);
  }

 private:
  bool More(std::string& bytes) {
    std::array<char, 16384> part{};
    const int count = SSL_read(ssl_.get(), part.data(), part.size());
    if (count > 0) bytes.append(part.data(), static_cast<std::size_t>(count));
    return count > 0 && bytes.size() < (4U << 20);
  }

  const int socket_;
  std::unique_ptr<SSL, decltype(&SSL_free)> ssl_;
};

std::string Answer(TokenService& service, const std::string& head, const std::string& body,
                   const std::string& path) try {
  const auto action = Connection::Header(head, "SOAPAction: ");
  if (action.size() < 2) throw std::runtime_error("no action");
  return Http("200 OK", "text/xml; charset=utf-8",
              Envelope(service.Answer(action.substr(1, action.size() - 2), body, path)));
} catch (const Fault& fault) {
  return Http("500 Internal Server Error", "text/xml",
              Envelope(std::string("<S:Fault><faultcode xmlns:f=\"") + fault.namespaceUri + "\">f:" +
                       fault.code + "</faultcode><faultstring>" + fault.reason + "</faultstring></S:Fault>"));
} catch (const std::exception& fault) {
  return Http("500 Internal Server Error", "text/xml",
              Envelope(std::string("<S:Fault><faultcode>S:Server</faultcode><faultstring>") + fault.what() +
                       "</faultstring></S:Fault>"));
}

void SendHuge(Connection& connection) {
  connection.Send("HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n\r\n");
  const std::string part(1 << 20, ' ');
  for (int i = 0; i < 100 && connection.Send(part); ++i) continue;
}

void Serve(TokenService& service, Connection& connection) {
  const auto request = connection.Read();
  if (!request) return;
  const auto& [head, body] = *request;
  const auto begin = head.find(' ') + 1;
  const auto path = head.substr(begin, head.find(' ', begin) - begin);
  const auto scripted = kBehaviours.find(path);
  if (path == "/huge") {
    SendHuge(connection);
  } else {
    connection.Send(scripted != kBehaviours.end() ? scripted->second : Answer(service, head, body, path));
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) throw std::runtime_error("usage: test-token-service FOLDER");
  std::signal(SIGPIPE, SIG_IGN);
  TokenService service(argv[1]);
  const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context(SSL_CTX_new(TLS_server_method()),
                                                                  &SSL_CTX_free);
  SSL_CTX_use_certificate(context.get(), service.Tls().certificate->Get());
  SSL_CTX_use_PrivateKey(context.get(), service.Tls().key->Get());
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  socklen_t size = sizeof address;
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, generic, size) != 0 || listen(listener, 16) != 0 ||
      getsockname(listener, generic, &size) != 0) {
    throw std::runtime_error("can't listen");
  }
  service.Write("url", "https://localhost:" + std::to_string(ntohs(address.sin_port)));
  for (;;) {
    Connection connection(context.get(), accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.Accept()) Serve(service, connection);
  }
} catch (const std::exception& fault) {
  std::fprintf(stderr, "test-token-service: %s\n", fault.what());
  return 1;
}
