#include "tools/tokenView.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <string_view>

#include "platform/corvane/textEscape.h"
#include "sso/samlToken.h"

namespace Tools {
namespace {

using rapidjson::Value;
using SsoClient::SamlToken;

// The tree that both forms are written from.
class View {
 public:
  explicit View(const SamlToken& token) {
    document_.SetObject();
    Add("id", token.GetId());
    Add("issuer", token.GetIssuer());
    Add("issued", token.GetIssueInstant());
    Add("subject", Name(token.GetSubject()));
    const bool isBound = token.GetConfirmationType() == SsoClient::ConfirmationType::HolderOfKey;
    Add("confirmation", std::string(isBound ? "holder-of-key" : "bearer"));
    if (isBound) Add("certificate", token.GetConfirmationCertificate());
    if (token.GetDelegateId()) Add("delegate", Name(*token.GetDelegateId()));
    Add("notBefore", token.GetNotBefore());
    Add("notOnOrAfter", token.GetNotOnOrAfter());
    Add("audiences", List(token.GetAudienceRestriction()));
    AddDelegations(token);
    AddRestrictions(token);
    Add("authenticated", token.GetAuthenticationInstant());
    Add("authenticationContext", token.GetAuthenticationContextClass());
    AddGroups(token);
    AddBool("solution", token.IsSolution());
    AddAttributes(token);
    AddAdvice(token);
  }

  const rapidjson::Document& Get() const { return document_; }

 private:
  static std::string Name(const SsoClient::Subject& subject) { return subject.name + "@" + subject.domain; }

  Value Text(std::string_view text) {
    return {text.data(), static_cast<rapidjson::SizeType>(text.size()), document_.GetAllocator()};
  }
  template <typename Texts>
  Value List(const Texts& texts) {
    Value list(rapidjson::kArrayType);
    for (const auto& text : texts) list.PushBack(Text(text), document_.GetAllocator());
    return list;
  }
  void Put(Value& object, std::string_view name, Value value) {
    object.AddMember(Text(name), value, document_.GetAllocator());
  }
  void Add(std::string_view name, Value value) { Put(document_, name, std::move(value)); }
  void Add(std::string_view name, const std::string& text) { Add(name, Text(text)); }
  void Add(std::string_view name, const Corvane::System::DateTime& time) {
    Add(name, time.ToShortStringBias());
  }
  void AddBool(std::string_view name, bool value) { Add(name, Value(value)); }

  void AddDelegations(const SamlToken& token) {
    Value chain(rapidjson::kArrayType);
    for (const auto& [subject, instant] : token.GetDelegationChain()) {
      Value link(rapidjson::kObjectType);
      Put(link, "delegate", Text(Name(subject)));
      Put(link, "at", Text(instant.ToShortStringBias()));
      chain.PushBack(link, document_.GetAllocator());
    }
    Add("delegations", std::move(chain));
  }

  void AddRestrictions(const SamlToken& token) {
    if (const auto& count = token.GetProxyRestrictionCount()) Add("delegationsLeft", Value(*count));
    if (const auto& renewal = token.GetRenewRestriction()) Add("renewalsLeft", Value(renewal->count));
  }

  void AddGroups(const SamlToken& token) {
    std::vector<std::string> names;
    for (const auto& group : token.GetGroups()) names.push_back(group.domain + "\\" + group.name);
    Add("groups", List(names));
  }

  void AddAttributes(const SamlToken& token) {
    Value attributes(rapidjson::kObjectType);
    for (const auto& [name, attribute] : token.GetAttributes()) Put(attributes, name, List(attribute.values));
    Add("attributes", std::move(attributes));
  }

  void AddAdvice(const SamlToken& token) {
    Value all(rapidjson::kArrayType);
    for (const auto& advice : token.GetAdvice()) {
      Value one(rapidjson::kObjectType);
      Put(one, "source", Text(advice.source));
      for (const auto& attribute : advice.attributes) Put(one, attribute.name, List(attribute.values));
      all.PushBack(one, document_.GetAllocator());
    }
    Add("advice", std::move(all));
  }

  rapidjson::Document document_;
};

std::string Serialize(const Value& value) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  value.Accept(writer);
  return {text.GetString(), text.GetSize()};
}

std::string_view TextOf(const Value& value) {
  return {value.GetString(), value.GetStringLength()};
}

// Texts go bare and on one line, what is nested as JSON; lists have a line for each element. The names of
// attributes are the token's own, and are JSON after a word of ours: none of them can look like another
// line.
void Write(const std::string& name, const Value& value, std::string& lines) {
  if (value.IsArray()) {
    for (const auto& element : value.GetArray()) Write(name, element, lines);
  } else if (value.IsObject() && name == "attributes") {
    for (const auto& member : value.GetObject()) {
      Write("attribute " + Serialize(member.name), member.value, lines);
    }
  } else {
    const auto text = value.IsString() ? std::string(TextOf(value)) : Serialize(value);
    lines += Corvane::Detail::EscapeLine(name + ": " + text) + "\n";
  }
}

}  // namespace

std::string ToJson(const SamlToken& token) {
  return Serialize(View(token).Get());
}

std::string ToLines(const SamlToken& token) {
  const View view(token);
  std::string lines;
  for (const auto& member : view.Get().GetObject()) {
    Write(std::string(TextOf(member.name)), member.value, lines);
  }
  return lines;
}

}  // namespace Tools
