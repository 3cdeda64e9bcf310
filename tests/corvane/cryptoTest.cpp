#include "platform/corvane/crypto.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// Decodes into a buffer of exactly the announced size, with a guard after it.
std::optional<Bytes> Decode(const std::string& text) {
  const std::size_t capacity = Base64_DecodedLength(text.data(), text.size());
  Bytes out(capacity + 8, 0xa5);
  std::size_t written = 12345;
  if (!Base64_Decode(text.data(), text.size(), out.data(), capacity, &written)) {
    EXPECT_EQ(written, 12345U);
    return std::nullopt;
  }
  EXPECT_LE(written, capacity);
  EXPECT_TRUE(std::all_of(out.begin() + static_cast<std::ptrdiff_t>(written), out.end(),
                          [](unsigned char c) { return c == 0xa5; }))
      << "written past the end of " << text;
  out.resize(written);
  return out;
}

bool InAlphabet(unsigned char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
}

TEST(Base64Test, AgreesWithOpenSslBothWays) {
  for (std::size_t length = 0; length <= 300; ++length) {
    Bytes bytes(length);
    ASSERT_EQ(CryptoRandom_GetBytes(bytes.data(), length), 0);
    std::string expected((length + 2) / 3 * 4 + 1, '\0');
    expected.resize(static_cast<std::size_t>(EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(expected.data()), bytes.data(), static_cast<int>(length))));
    std::string text = "old content";
    Base64_Encode(bytes.data(), length, text);
    ASSERT_EQ(text, expected);
    ASSERT_EQ(Decode(text), bytes);
  }
}

// Every byte value in every place of texts with no, one and two padding characters, short ones and such as
// are decoded in blocks.
TEST(Base64Test, AnyByteAnywhere) {
  const std::string blocks = "AZaz09+/bcdefghijklmnopqrstuvwxyBCDEFGHIJKLMNOPQRSTUVWXY12345678";
  for (const std::string& valid : {std::string("QUJDREVG"), std::string("QUJDREU="), std::string("QUJDRA=="),
                                   blocks + "QUJDREVG", blocks + "QUJDREU=", blocks + blocks + "QUJDRA=="}) {
    for (std::size_t place = 0; place < valid.size(); ++place) {
      for (int value = 0; value < 256; ++value) {
        std::string text = valid;
        text[place] = static_cast<char>(value);
        const std::size_t digits =
            static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), InAlphabet) - text.begin());
        const bool isValid =
            digits + 2 >= text.size() && text.substr(digits) == std::string(text.size() - digits, '=');
        ASSERT_EQ(Decode(text).has_value(), isValid) << place << " " << value;
      }
    }
  }
}

// A text that is too short to decode to anything must still be looked at.
TEST(Base64Test, LengthsAndCapacity) {
  for (const char* text : {"A", "AB", "ABC", "QUJDR", "=", "====", "QUJD\n", "QUI=QUI="}) {
    EXPECT_FALSE(Decode(text).has_value()) << text;
    EXPECT_NE(Base64_DecodedLength(text, std::string(text).size()), 0U) << text;
  }
  unsigned char out[2] = {};
  std::size_t written = 0;
  EXPECT_TRUE(Base64_Decode("QUI=", out, 2, &written));
  EXPECT_FALSE(Base64_Decode("QUJD", out, 2, &written));
}

}  // namespace
