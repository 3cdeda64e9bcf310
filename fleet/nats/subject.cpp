#include "fleet/nats/subject.h"

#include <openssl/evp.h>

#include <algorithm>
#include <stdexcept>

namespace Fleet {
namespace {

constexpr std::size_t kLongestPrefix = 64;
constexpr std::size_t kLongestToken = 256;
constexpr std::size_t kLongestHeaderValue = 512;
constexpr std::size_t kMostComponents = 32;
// A filter is shorter than any subject that was cut, so that it takes those in.
constexpr std::size_t kMostFilterComponents = 8;
constexpr std::size_t kLongestFilterTopic = 256;
// No escaped text has two of these in a row.
constexpr std::string_view kHashMark = "%%";
constexpr std::size_t kHashBytes = 16;
// With the dot in front of it.
constexpr std::size_t kHashRoom = 1 + kHashMark.size() + 2 * kHashBytes;

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool IsPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
}

void AppendHex(std::string& text, unsigned char byte) {
  text += kHexDigits[byte >> 4U];
  text += kHexDigits[byte & 15U];
}

std::string EscapedByte(char c) {
  std::string text = "%";
  AppendHex(text, static_cast<unsigned char>(c));
  return text;
}

// Takes the place of what is cut off.
std::string HashToken(std::string_view text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("no SHA-256");
  }
  std::string token(kHashMark);
  for (std::size_t i = 0; i < kHashBytes; ++i) AppendHex(token, digest[i]);
  return token;
}

std::vector<std::string_view> Split(std::string_view text, std::size_t most) {
  std::vector<std::string_view> parts;
  while (parts.size() < most) {
    const auto dot = text.find('.');
    parts.push_back(text.substr(0, dot));
    if (dot == std::string_view::npos) break;
    text.remove_prefix(dot + 1);
  }
  return parts;
}

std::string TokenOrStar(const std::vector<std::string>& wanted) {
  return wanted.size() == 1 ? EscapeToken(wanted.front()) : "*";
}

int HexValue(char c) {
  const auto at = kHexDigits.find(c);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

}  // namespace

void CheckPrefix(std::string_view prefix) {
  const auto tokens = Split(prefix, kLongestPrefix);
  const bool good =
      prefix.size() <= kLongestPrefix && std::ranges::all_of(tokens, [](std::string_view token) {
        return !token.empty() && std::ranges::all_of(token, IsPlain);
      });
  if (good) return;
  throw std::invalid_argument("the prefix has to be letters, digits, \"_\", \"-\" and single dots");
}

std::string EscapeToken(std::string_view text) {
  if (text.empty()) return "%";
  std::string token;
  for (const char c : text) {
    const auto piece = IsPlain(c) ? std::string(1, c) : EscapedByte(c);
    if (token.size() + piece.size() > kLongestToken) {
      const auto hash = HashToken(text);
      token.resize(kLongestToken - hash.size());
      // Half an escape would make three "%" in a row, or digits that aren't the text's.
      if (const auto begin = token.rfind('%'); begin != std::string::npos && begin + 3 > token.size()) {
        token.resize(begin);
      }
      return token + hash;
    }
    token += piece;
  }
  return token;
}

std::optional<std::string> UnescapeToken(std::string_view token) {
  if (token == "%") return "";
  std::string text;
  for (std::size_t i = 0; i < token.size(); ++i) {
    if (IsPlain(token[i])) {
      text += token[i];
      continue;
    }
    if (token[i] != '%' || i + 2 >= token.size()) return std::nullopt;
    const int high = HexValue(token[i + 1]);
    const int low = HexValue(token[i + 2]);
    if (high < 0 || low < 0) return std::nullopt;
    text += static_cast<char>(high * 16 + low);
    i += 2;
  }
  if (EscapeToken(text) != token) return std::nullopt;
  return text;
}

std::string PublicationSubject(std::string_view prefix, std::string_view host, std::string_view vm,
                               std::string_view topic) {
  std::string subject(prefix);
  subject.append(".").append(EscapeToken(host)).append(".").append(EscapeToken(vm));
  const auto components = Split(topic, kMostComponents + 1);
  std::size_t taken = 0;
  std::size_t cut = subject.size();
  while (taken < std::min(components.size(), kMostComponents) && subject.size() <= kLongestSubject) {
    subject.append(".").append(EscapeToken(components[taken++]));
    if (subject.size() + kHashRoom <= kLongestSubject) cut = subject.size();
  }
  if (taken == components.size() && subject.size() <= kLongestSubject) return subject;
  subject.resize(cut);
  return subject.append(".").append(HashToken(topic));
}

std::string FilterSubject(std::string_view prefix, const std::vector<std::string>& hosts,
                          const std::vector<std::string>& vms, const std::vector<std::string>& topics) {
  std::string subject(prefix);
  if (hosts.size() != 1 && vms.size() != 1 && topics.size() != 1) return subject + ".>";
  subject.append(".").append(TokenOrStar(hosts)).append(".").append(TokenOrStar(vms));
  if (topics.size() == 1) {
    // "a.b.>" would leave out the topic "a.b" itself, so the last component is left to whoever reads.
    auto components = Split(topics.front(), kMostFilterComponents + 1);
    components.pop_back();
    std::size_t size = 0;
    for (const auto component : components) {
      const auto token = EscapeToken(component);
      size += token.size() + 1;
      if (size > kLongestFilterTopic) break;
      subject.append(".").append(token);
    }
  }
  return subject + ".>";
}

std::optional<std::string> HostOf(std::string_view prefix, std::string_view subject) {
  if (!subject.starts_with(prefix) || subject.size() <= prefix.size() || subject[prefix.size()] != '.') {
    return std::nullopt;
  }
  subject.remove_prefix(prefix.size() + 1);
  const auto dot = subject.find('.');
  if (dot == std::string_view::npos) return std::nullopt;
  return UnescapeToken(subject.substr(0, dot));
}

std::string HeaderValue(std::string_view text) {
  std::string value;
  for (const char c : text) {
    const auto piece = c > ' ' && c < '\x7f' && c != '%' ? std::string(1, c) : EscapedByte(c);
    if (value.size() + piece.size() > kLongestHeaderValue) break;
    value += piece;
  }
  return value;
}

}  // namespace Fleet
