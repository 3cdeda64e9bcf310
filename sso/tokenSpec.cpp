#include "sso/tokenSpec.h"

#include "platform/corvane/format.h"
#include "platform/corvane/textEscape.h"

namespace SsoClient {
namespace {

template <typename Texts>
std::string Join(const Texts& texts) {
  std::string joined;
  for (const auto& text : texts) {
    if (!joined.empty()) joined += ", ";
    joined += text;
  }
  return joined;
}

std::string ToText(const std::vector<Advice>& advice) {
  std::vector<std::string> texts;
  texts.reserve(advice.size());
  for (const auto& [source, attributes] : advice) {
    std::vector<std::string> lists;
    lists.reserve(attributes.size());
    for (const auto& attribute : attributes) {
      lists.push_back(attribute.name + "=[" + Join(attribute.values) + "]");
    }
    texts.push_back(source + ": " + Join(lists));
  }
  return Join(texts);
}

}  // namespace

std::string TokenSpec::ToText() const {
  return Corvane::Detail::EscapeLine(Corvane::Detail::ASPrintInternal(
      "TokenSpec [tokenLifetimeSec=%1, delegable=%2, delegateTo=%3, renewable=%4, "
      "confirmationType=%5,audienceRestriction=%6, advice=[%7]",
      tokenLifetimeSec, delegable, delegateTo.value_or(""), renewable, int{confirmationType},
      "[" + Join(audienceRestriction) + "]", SsoClient::ToText(advice)));
}

}  // namespace SsoClient
