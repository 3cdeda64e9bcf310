#include "guest/link/base64.h"

#include <openssl/evp.h>

#include <algorithm>

namespace GuestLink {
namespace {

const unsigned char* AsBytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

bool IsOfAlphabet(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

}  // namespace

std::string EncodeBase64(std::string_view bytes) {
  // OpenSSL writes a NUL behind the text, which falls on the string's own.
  std::string text((bytes.size() + 2) / 3 * 4, '\0');
  EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), AsBytes(bytes),
                  static_cast<int>(bytes.size()));
  return text;
}

// OpenSSL would pass over blanks, and take padding where there can't be any.
bool DecodeBase64(std::string_view text, std::string& bytes) {
  const auto end = std::min(text.find('='), text.size());
  const auto padding = text.size() - end;
  const bool isBase64 =
      text.size() % 4 == 0 && padding <= 2 &&
      std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), IsOfAlphabet) &&
      text.find_first_not_of('=', end) == std::string_view::npos;
  if (!isBase64) return false;
  bytes.resize(text.size() / 4 * 3);
  EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()), AsBytes(text),
                  static_cast<int>(text.size()));
  bytes.resize(bytes.size() - padding);
  return true;
}

}  // namespace GuestLink
