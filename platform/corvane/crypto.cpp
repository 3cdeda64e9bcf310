#include "platform/corvane/crypto.h"

#include <modp_b64.h>
#include <openssl/rand.h>

#include <algorithm>
#include <cstring>

#include "platform/corvane/base64Blocks.h"

namespace {

std::size_t CountPadding(const char* text, std::size_t length) {
  return text[length - 1] != '=' ? 0 : text[length - 2] != '=' ? 1 : 2;
}

}  // namespace

std::size_t Base64_DecodedLength(const char* /*text*/, std::size_t length) {
  return (length + 3) / 4 * 3;
}

bool Base64_Decode(const char* text, unsigned char* out, std::size_t capacity, std::size_t* written) {
  return Base64_Decode(text, std::strlen(text), out, capacity, written);
}

bool Base64_Decode(const char* text, std::size_t length, unsigned char* out, std::size_t capacity,
                   std::size_t* written) {
  if (length == 0) {
    *written = 0;
    return true;
  }
  if (length % 4 != 0) return false;
  const std::size_t decoded = length / 4 * 3 - CountPadding(text, length);
  if (decoded > capacity) return false;
  const std::size_t done = Corvane::Detail::DecodeBase64Blocks(text, length, out);
  const std::size_t doneBytes = done / 4 * 3;
  if (modp_b64_decode(reinterpret_cast<char*>(out + doneBytes), text + done, length - done) !=
      decoded - doneBytes) {
    return false;
  }
  *written = decoded;
  return true;
}

void Base64_Encode(const void* bytes, std::size_t length, std::string& out) {
  out.resize((length + 2) / 3 * 4);
  // Its closing NUL falls on the string's own.
  modp_b64_encode(out.data(), static_cast<const char*>(bytes), length);
}

int CryptoRandom_GetBytes(void* buffer, std::size_t count) {
  return RAND_bytes_ex(nullptr, static_cast<unsigned char*>(buffer), count, 0) == 1 ? 0 : -1;
}
