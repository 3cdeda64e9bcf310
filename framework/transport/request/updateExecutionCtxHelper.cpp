#include "framework/transport/request/updateExecutionCtxHelper.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "framework/core/executionContext.h"
#include "framework/core/text.h"
#include "platform/corvane/crypto.h"
#include "platform/corvane/wipedString.h"

namespace Mirel::Provider::JsonRpc1_1 {
namespace {

using Core::SecurityContext;
using Core::SecurityContextWrappedEntry;

void Put(SecurityContext& context, const char* key, std::string_view text) {
  context.insert_or_assign(key, SecurityContextWrappedEntry(text));
}

bool ReadBasic(std::string_view credentials, SecurityContext& context) {
  Corvane::WipedString secret;
  const auto size = Base64_DecodedLength(credentials.data(), credentials.size());
  auto& plain = secret.Reserve(size);
  plain.resize(size);
  std::size_t written = 0;
  if (!Base64_Decode(credentials.data(), credentials.size(),
                     static_cast<unsigned char*>(static_cast<void*>(plain.data())), plain.size(), &written)) {
    return false;
  }
  const auto text = std::string_view(plain).substr(0, written);
  const auto colon = text.find(':');
  if (colon == std::string_view::npos || std::any_of(text.begin(), text.end(), IsControl)) return false;
  Put(context, Core::Security::kSchemeIdKey, Core::Security::kUserPassScheme);
  Put(context, Core::Security::kUserNameKey, text.substr(0, colon));
  Put(context, Core::Security::kPasswordKey, text.substr(colon + 1));
  return true;
}

bool IsToken68(std::string_view text) {
  const auto end = std::min(text.find('='), text.size());
  const auto isTokenChar = [](char c) {
    return IsAlnum(c) || std::string_view("-._~+/").find(c) != std::string_view::npos;
  };
  return end > 0 && std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), isTokenChar) &&
         text.find_first_not_of('=', end) == std::string_view::npos;
}

void PutBearer(SecurityContext& context, std::string_view token) {
  Put(context, Core::Security::kSchemeIdKey, Core::Security::kBearerTokenScheme);
  Put(context, Core::Security::kTokenKey, token);
}

void ReadAuthorization(std::string_view value, SecurityContext& context) {
  const auto space = std::min(value.find(' '), value.size());
  const auto scheme = value.substr(0, space);
  const auto credentials = value.substr(std::min(value.find_first_not_of(' ', space), value.size()));
  if (StrICmp(scheme, "Basic") && ReadBasic(credentials, context)) return;
  PutBearer(context, StrICmp(scheme, "Bearer") && IsToken68(credentials) ? credentials : std::string_view());
}

constexpr std::array<std::pair<std::string_view, const char*>, 4> kContextHeaders{{
    {"accept-language", "acceptLanguage"},
    {"mirel-ctx-format-locale", "formatLocale"},
    {"mirel-ctx-timezone", "timezone"},
    {"mirel-ctx-opid", "opId"},
}};

}  // namespace

bool UpdateExecutionCtxHelper::Update(const Transport::Http::HeaderRangePtr& headers,
                                      const Core::MethodIdentifier& method,
                                      const std::shared_ptr<Core::ExecutionContext>& context,
                                      const std::vector<Transport::Http::HeaderExtractor>& extractors) {
  bool sameOperation = true;
  bool sawAuthorization = false;
  const bool anonymous = context->securityContext.empty();
  for (; !headers->AtEnd(); headers->Advance()) {
    const auto name = headers->Current().Name();
    const auto value = headers->Current().Value();
    for (const auto& [header, key] : kContextHeaders) {
      if (name == header) context->applicationContext.emplace(key, value);
    }
    if (name == "mirel-operation" && value != method.ToString()) sameOperation = false;
    if (name == "authorization" && anonymous) {
      if (sawAuthorization) context->securityContext.clear();
      ReadAuthorization(sawAuthorization ? std::string_view() : value, context->securityContext);
      sawAuthorization = true;
    }
  }
  for (const auto& extractor : extractors) {
    headers->Reset();
    extractor(headers, context);
  }
  return sameOperation;
}

}  // namespace Mirel::Provider::JsonRpc1_1
