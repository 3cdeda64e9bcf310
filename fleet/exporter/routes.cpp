#include "fleet/exporter/routes.h"

#include <rapidjson/document.h>

#include <atomic>
#include <optional>
#include <utility>

#include "fleet/exporter/jsonText.h"
#include "fleet/exporter/metricsPage.h"
#include "fleet/exporter/page.h"

namespace Fleet {
namespace {

constexpr std::string_view kCookie = "hesper_session";
constexpr std::string_view kBearer = "Bearer ";

enum Status : unsigned {
  kOk = 200,
  kNoContent = 204,
  kBadRequest = 400,
  kUnauthorized = 401,
  kForbidden = 403,
  kNotFound = 404,
  kMethodNotAllowed = 405,
  kUnsupportedType = 415,
  kMisdirected = 421,
  kTooManyRequests = 429,
  kServerError = 500,
  kUnavailable = 503,
};

// For every answer: what a browser may do with it.
const Fields& SafeHeaders() {
  static const Fields headers = {
      {"Content-Security-Policy",
       "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self'; "
       "base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"X-Content-Type-Options", "nosniff"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cross-Origin-Resource-Policy", "same-origin"}};
  return headers;
}

Answer MakeSafe(Answer answer) {
  const auto& headers = answer.headers;
  const bool mayKeep = std::any_of(headers.begin(), headers.end(),
                                   [](const auto& header) { return header.first == "Cache-Control"; });
  if (!mayKeep) answer.headers.emplace_back("Cache-Control", "no-store");
  answer.headers.insert(answer.headers.end(), SafeHeaders().begin(), SafeHeaders().end());
  return answer;
}

Answer Plain(unsigned status, std::string_view text, Fields headers = {}) {
  headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
  return {status, std::move(headers), std::string(text) + "\n"};
}

Answer TooMany(unsigned status, std::string_view text) {
  return Plain(status, text, {{"Retry-After", "1"}});
}

std::string CookieText(std::string_view secret, std::string_view more) {
  std::string text(kCookie);
  return text.append("=").append(secret).append("; Path=/; HttpOnly; SameSite=Strict").append(more);
}

bool IsJson(std::string_view type) {
  return type.substr(0, type.find(';')) == "application/json";
}

// Nothing if it isn't {"token": "..."}.
std::optional<Corvane::WipedString> TokenIn(const std::string& body) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(body.data(), body.size());
  if (document.HasParseError() || !document.IsObject()) return std::nullopt;
  const rapidjson::Value::ConstMemberIterator token = document.FindMember("token");
  if (token == document.MemberEnd() || !token->value.IsString()) return std::nullopt;
  return Corvane::WipedString(std::string_view(token->value.GetString(), token->value.GetStringLength()));
}

std::chrono::steady_clock::time_point Now() {
  return std::chrono::steady_clock::now();
}

}  // namespace

// Counts the pages under way; each of them holds one of these.
struct Routes::Pages {
  std::atomic<std::size_t> count{0};

  static std::shared_ptr<void> Begin(const std::shared_ptr<Pages>& pages) {
    if (pages->count.fetch_add(1) >= kMostPages) {
      --pages->count;
      return nullptr;
    }
    return {pages.get(), [pages](Pages* all) { --all->count; }};
  }
};

Routes::Routes(HostView host, TokenCheck& tokens, OriginGuard guard)
    : host_(host), tokens_(tokens), guard_(std::move(guard)), pages_(std::make_shared<Pages>()) {}

void Routes::Handle(const Request& request, const Reply& reply) {
  const Reply safe = [reply](Answer answer) { reply(MakeSafe(std::move(answer))); };
  if (!guard_.IsForUs(request)) return safe(Plain(kMisdirected, "this is not a name of this server"));
  Route(request, safe);
}

void Routes::Route(const Request& request, const Reply& reply) {
  struct Entry {
    std::string_view path;
    std::string_view method;
    void (Routes::*handle)(const Request&, const Reply&);
  };
  static constexpr Entry kEntries[] = {{"/metrics", "GET", &Routes::Metrics},
                                       {"/login", "POST", &Routes::Login},
                                       {"/logout", "POST", &Routes::Logout},
                                       {"/api/overview", "GET", &Routes::Overview},
                                       {"/api/events", "GET", &Routes::Events}};
  for (const auto& entry : kEntries) {
    if (entry.path != request.path) continue;
    if (entry.method == request.method) return (this->*entry.handle)(request, reply);
    return reply(Plain(kMethodNotAllowed, "another method", {{"Allow", std::string(entry.method)}}));
  }
  auto file = Page::Get(request);
  if (!file) return reply(Plain(kNotFound, "nothing is here"));
  if (request.method == "GET" || request.method == "HEAD") return reply(std::move(*file));
  reply(Plain(kMethodNotAllowed, "another method", {{"Allow", "GET, HEAD"}}));
}

void Routes::Try(const Corvane::WipedString& token, const Request& request, const Reply& reply,
                 const TokenCheck::Done& done) {
  const auto now = Now();
  if (tokens_.WasGood(token, now)) return tokens_.Check(token, now, done);
  if (!tries_.Take(request.user, now)) return reply(TooMany(kTooManyRequests, "too many tries"));
  tokens_.Check(token, now, [this, user = request.user, done](const Checked& checked) {
    if (checked.verdict == Checked::Verdict::Good) tries_.Return(user);
    done(checked);
  });
}

void Routes::Metrics(const Request& request, const Reply& reply) {
  const auto refuse = [reply] {
    reply(Plain(kUnauthorized, "a token that the daemon takes is needed", {{"WWW-Authenticate", "Bearer"}}));
  };
  const auto authorization = request.Header("Authorization");
  if (!authorization || !authorization->starts_with(kBearer)) return refuse();
  const Corvane::WipedString token(authorization->substr(kBearer.size()));
  const auto accepted = request.Header("Accept").value_or("");
  const auto form = accepted.find("application/openmetrics-text") != std::string_view::npos
                        ? MetricForm::OpenMetrics
                        : MetricForm::Prometheus;
  Try(token, request, reply, [this, reply, refuse, form](const Checked& checked) {
    if (checked.verdict == Checked::Verdict::Refused) return refuse();
    if (checked.verdict == Checked::Verdict::Away && !checked.believed) {
      return reply(TooMany(kUnavailable, "the daemon is away"));
    }
    reply(MetricsAnswer(checked, form));
  });
}

Answer Routes::MetricsAnswer(const Checked& checked, MetricForm form) {
  auto page = Pages::Begin(pages_);
  if (!page) return TooMany(kUnavailable, "too many pages are under way");
  const auto* const type = form == MetricForm::OpenMetrics
                               ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                               : "text/plain; version=0.0.4; charset=utf-8";
  return {.status = kOk,
          .headers = {{"Content-Type", type}},
          .body = MetricsPage(host_, checked, form),
          .held = std::move(page)};
}

void Routes::Login(const Request& request, const Reply& reply) {
  if (!OriginGuard::IsFromOurPage(request)) return reply(Plain(kForbidden, "not from a page of this server"));
  if (!IsJson(request.Header("Content-Type").value_or(""))) {
    return reply(Plain(kUnsupportedType, "application/json is needed"));
  }
  const auto token = TokenIn(request.body);
  if (!token) return reply(Plain(kBadRequest, "no token in it"));
  Try(*token, request, reply, [this, reply, token = *token](const Checked& checked) {
    switch (checked.verdict) {
      case Checked::Verdict::Refused:
        return reply(Plain(kUnauthorized, "the daemon refuses this token"));
      case Checked::Verdict::Away:
        return reply(TooMany(kUnavailable, "the daemon is away"));
      case Checked::Verdict::Good:
        break;
    }
    const auto secret = sessions_.Open(token, Now());
    reply(
        {kNoContent,
         {{"Set-Cookie",
           CookieText(secret, "; Max-Age=" + std::to_string(std::chrono::seconds(kSessionTime).count()))}}});
  });
}

void Routes::Logout(const Request& request, const Reply& reply) {
  if (!OriginGuard::IsFromOurPage(request)) return reply(Plain(kForbidden, "not from a page of this server"));
  sessions_.Close(SecretHash(request.Cookie(kCookie)));
  reply({kNoContent, {{"Set-Cookie", CookieText("", "; Max-Age=0")}}});
}

std::optional<std::pair<SecretHash, Corvane::WipedString>> Routes::SessionOf(const Request& request,
                                                                             const Reply& reply) {
  // Cookies know no ports: a page of another server of this host is the same site.
  if (OriginGuard::IsFromForeignPage(request)) {
    reply(Plain(kForbidden, "not for pages of other servers"));
    return std::nullopt;
  }
  const SecretHash secret(request.Cookie(kCookie));
  const auto token = sessions_.TokenOf(secret, Now());
  if (!token) {
    reply(Plain(kUnauthorized, "a login is needed"));
    return std::nullopt;
  }
  return std::pair(secret, *token);
}

void Routes::Overview(const Request& request, const Reply& reply) {
  const auto session = SessionOf(request, reply);
  if (!session) return;
  const auto& [secret, token] = *session;
  tokens_.Check(token, Now(), [this, reply, secret = secret](const Checked& checked) {
    if (checked.verdict == Checked::Verdict::Refused) {
      sessions_.Close(secret);
      return reply(Plain(kUnauthorized, "the daemon refuses this session's token"));
    }
    if (checked.verdict == Checked::Verdict::Good) sessions_.Confirm(secret, Now());
    reply({kOk, {{"Content-Type", "application/json"}}, OverviewText(checked)});
  });
}

std::string Routes::OverviewText(const Checked& checked) const {
  const auto stream = host_.stream.Current();
  rapidjson::Document stats;
  stats.Parse<rapidjson::kParseIterativeFlag>(checked.stats.data(), checked.stats.size());
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writer.Key("time");
  writer.Int64(Milliseconds(std::chrono::system_clock::now()));
  writer.Key("stream");
  writer.StartObject();
  writer.Key("connected");
  writer.Bool(stream.isConnected);
  writer.Key("since");
  writer.Int64(stream.since);
  writer.Key("interruptions");
  writer.Uint64(stream.interruptions);
  PutText(writer, "reason", stream.reason);
  writer.EndObject();
  writer.Key("daemon");
  if (stats.HasParseError() || !stats.IsObject()) {
    writer.Null();
  } else {
    stats.Accept(writer);
  }
  writer.Key("vms");
  host_.vms.WriteJson(writer, Now(), [this](const std::string& vm) { return host_.metrics.Refused(vm); });
  writer.EndObject();
  return TextOf(buffer);
}

void Routes::Events(const Request& request, const Reply& reply) {
  const auto session = SessionOf(request, reply);
  if (!session) return;
  auto pipe = host_.events.Open(
      {std::string(request.Query("vm")), std::string(request.Query("topic"))},
      [this, secret = session->first] { return sessions_.Lasts(secret, Now()); }, Now());
  if (!pipe) return reply(TooMany(kUnavailable, "too many viewers"));
  reply({.status = kOk, .headers = {{"Content-Type", "text/event-stream"}}, .stream = std::move(pipe)});
}

void Routes::Tick(Time now) {
  for (const auto& [secret, token] : sessions_.TakeDue(now)) {
    tokens_.Check(token, now, [this, secret = secret](const Checked& checked) {
      if (checked.verdict == Checked::Verdict::Refused) sessions_.Close(secret);
      if (checked.verdict == Checked::Verdict::Good) sessions_.Confirm(secret, Now());
    });
  }
}

}  // namespace Fleet
